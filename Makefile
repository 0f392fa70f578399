# The two commands a newcomer needs: `make run` and `make test`.
BUILD ?= build
# Where `make install` puts the program; DESTDIR, when set, is put in front of it.
PREFIX ?= /usr/local
ASAN_BUILD ?= build-asan
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps test-deps configure build run test test-asan fuzz bench install package clean format

all: build

# Building and running need less than the tests do (no compilers for fuzzing, no Xvfb, no
# notification daemon, no validators).
deps:
	@scripts/install-deps

test-deps:
	@scripts/install-deps test

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DQUILLMERE_WERROR=ON $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@exec $(BUILD)/bin/quillmere

test: test-deps build
	@cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --no-tests=error --output-on-failure -j $(JOBS)

# The whole suite again, built with AddressSanitizer and UndefinedBehaviorSanitizer (leak
# checking on) in a build folder of its own.
test-asan: test-deps
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DQUILLMERE_WERROR=ON -DQUILLMERE_SANITIZE=ON \
		-DQUILLMERE_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug $(CMAKE_FLAGS) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@cd $(ASAN_BUILD) && QT_QPA_PLATFORM=offscreen \
		ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:detect_stack_use_after_return=1:verify_asan_link_order=0 \
		LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 \
		UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
		ctest --no-tests=error --output-on-failure -j $(JOBS)

# Coverage-guided fuzzing of the file decoders and of start-up over a fuzzed data folder,
# each target for FUZZ_SECONDS from the seed corpus in fuzz/corpus.
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
fuzz: test-deps
	@CC=clang CXX=clang++ cmake -S fuzz -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS)
	@scripts/run-fuzzers $(FUZZ_BUILD) $(FUZZ_SECONDS)

# Each program prints its table and its headline figures (`FIGURE name value`); the figures of
# the whole run are repeated together at the end, to compare one run with another.
bench: test-deps build
	@: > $(BUILD)/bench-figures.txt
	@for b in $(BUILD)/bin/bench_*; do \
		[ -x "$$b" ] || continue; \
		"$$b" > $(BUILD)/bench-output.txt 2>&1; rc=$$?; \
		cat $(BUILD)/bench-output.txt; \
		grep '^FIGURE ' $(BUILD)/bench-output.txt >> $(BUILD)/bench-figures.txt; \
		[ $$rc -eq 0 ] || exit $$rc; \
	done
	@echo; cat $(BUILD)/bench-figures.txt

# The README's pictures: the panel for the sample data at 10:40 with one block open, in light
# and in dark, and the statistics window over a year of made-up work.
snapshot: build
	@$(BUILD)/bin/quillmere-snapshot --scheme light docs/sample-data docs/panel-light.png 10:40 "Team sync"
	@$(BUILD)/bin/quillmere-snapshot --scheme dark docs/sample-data docs/panel-dark.png 10:40 "Team sync"
	@rm -rf $(BUILD)/sample-record
	@$(BUILD)/bin/quillmere-sample-record $(BUILD)/sample-record 2026-03-12 >/dev/null
	@$(BUILD)/bin/quillmere-snapshot --stats $(BUILD)/sample-record docs/stats.png 2026-03-12

install: build
	@cmake --install $(BUILD) --prefix $(PREFIX)

# A Debian package (installing under /usr) in $(BUILD); scripts/check-package inspects it.
package: build
	@cmake --build $(BUILD) --target package

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
