# The two commands a newcomer needs: `make run` and `make test`.
BUILD ?= build
ASAN_BUILD ?= build-asan
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build run test bench snapshot clean format

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DQUILLMERE_WERROR=ON $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@if [ -x $(BUILD)/bin/quillmere ]; then \
		exec $(BUILD)/bin/quillmere; \
	else \
		echo "Everything there is has been built, but the program itself (quillmere) is not built yet."; \
	fi

test: build
	@cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --no-tests=error --output-on-failure -j $(JOBS)

bench: build
	@for b in $(BUILD)/bin/bench_*; do [ -x "$$b" ] && "$$b" || exit 1; done

# The README's picture: the panel for the sample data at 10:40 with one block open.
snapshot: build
	@$(BUILD)/bin/quillmere-snapshot docs/sample-data docs/panel.png 10:40 "Team sync"

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
