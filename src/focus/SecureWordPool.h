#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace quillmere::noise {

// Random 32-bit words for the audio thread from a ChaCha20 keystream keyed by the kernel's
// secure generator. A system call per callback costs more than the noise itself, so getrandom(2)
// only supplies keys: every refill runs the stream once, takes its first 32 bytes as the key of
// the next refill (so the pool never holds what could recompute words already handed out) and
// hands out the rest; a fresh key from the kernel replaces the chained one every few seconds of
// audio. The buffer is allocated up front so the audio thread never allocates.
class SecureWordPool final {
public:
    explicit SecureWordPool(std::size_t capacity);
    ~SecureWordPool();
    SecureWordPool(const SecureWordPool&) = delete;
    SecureWordPool& operator=(const SecureWordPool&) = delete;

    // Refills enough words for a callback of this many draws (capped at the capacity).
    void prepare(std::size_t draws);

    std::uint32_t operator()() {
        if (m_next == m_filled)
            refill(m_capacity);
        return m_words[m_next++];
    }

    std::size_t capacity() const { return m_capacity; }

    // The word handed out when the kernel refuses a first key: it maps to a white value of
    // exactly 0, so a failing source fades the noise to silence rather than making it
    // predictable.
    static constexpr std::uint32_t silentWord = 1u << 31;

    // Refills between two keys fetched from the kernel: about five seconds of 1024-frame
    // callbacks at 48 kHz.
    static constexpr unsigned refillsPerKernelKey = 256;

private:
    static constexpr std::size_t keyWords = 8;

    void refill(std::size_t count);
    bool fetchKernelKey();

    // The next key, then the words handed out.
    std::unique_ptr<std::uint32_t[]> m_words;
    std::size_t m_capacity;
    std::size_t m_filled = keyWords;
    std::size_t m_next = keyWords;
    bool m_cipherReady;
    std::array<unsigned char, keyWords * sizeof(std::uint32_t)> m_key{};
    bool m_keyed = false;
    unsigned m_refillsSinceKernelKey = 0;
};

} // namespace quillmere::noise
