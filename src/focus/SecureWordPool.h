#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace quillmere::noise {

// Random 32-bit words from the kernel's secure generator, fetched in bulk: one getrandom(2) per
// audio callback instead of one system call per sample. The buffer is allocated up front so the
// audio thread never allocates.
class SecureWordPool final {
public:
    explicit SecureWordPool(std::size_t capacity);

    // Refills enough words for a callback of this many draws (capped at the capacity).
    void prepare(std::size_t draws);

    std::uint32_t operator()() {
        if (m_next == m_filled)
            refill(m_capacity);
        return m_words[m_next++];
    }

    std::size_t capacity() const { return m_capacity; }

    // The word handed out when the kernel refuses: it maps to a white value of exactly 0, so a
    // failing source fades the noise to silence rather than making it predictable.
    static constexpr std::uint32_t silentWord = 1u << 31;

private:
    void refill(std::size_t count);

    std::unique_ptr<std::uint32_t[]> m_words;
    std::size_t m_capacity;
    std::size_t m_filled = 0;
    std::size_t m_next = 0;
};

} // namespace quillmere::noise
