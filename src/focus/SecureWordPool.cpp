#include "focus/SecureWordPool.h"

#include <sodium.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quillmere::noise {

SecureWordPool::SecureWordPool(std::size_t capacity)
    : m_words(new std::uint32_t[keyWords + std::max<std::size_t>(capacity, 1)]()),
      m_capacity(std::max<std::size_t>(capacity, 1)),
      // Picks the fastest ChaCha20 for this processor; safe to call again, and never called
      // on the audio thread. A library that cannot start is treated as a refusing kernel.
      m_cipherReady(sodium_init() >= 0) {}

SecureWordPool::~SecureWordPool() {
    sodium_memzero(m_key.data(), m_key.size());
    sodium_memzero(m_words.get(), (keyWords + m_capacity) * sizeof(std::uint32_t));
}

void SecureWordPool::prepare(std::size_t draws) {
    refill(std::min(std::max<std::size_t>(draws, 1), m_capacity));
}

bool SecureWordPool::fetchKernelKey() {
    std::size_t got = 0;
    while (got < m_key.size()) {
        const ssize_t n = getrandom(m_key.data() + got, m_key.size() - got, 0);
        if (n > 0)
            got += static_cast<std::size_t>(n);
        else if (n < 0 && errno == EINTR)
            continue;
        else
            return false;
    }
    return true;
}

void SecureWordPool::refill(std::size_t count) {
    m_filled = keyWords + count;
    m_next = keyWords;
    if (m_cipherReady && (!m_keyed || m_refillsSinceKernelKey >= refillsPerKernelKey)) {
        // A refused key is tried again on the next refill; until the first one arrives the
        // pool hands out silence, after that the chained key carries on.
        if (fetchKernelKey()) {
            m_keyed = true;
            m_refillsSinceKernelKey = 0;
        }
    }
    if (!m_keyed) {
        std::fill(m_words.get() + keyWords, m_words.get() + m_filled, silentWord);
        return;
    }
    ++m_refillsSinceKernelKey;
    // Each key runs the stream exactly once, so a fixed nonce is safe.
    static constexpr std::array<unsigned char, crypto_stream_chacha20_NONCEBYTES> nonce{};
    auto* bytes = reinterpret_cast<unsigned char*>(m_words.get());
    crypto_stream_chacha20(bytes, m_filled * sizeof(std::uint32_t), nonce.data(), m_key.data());
    std::memcpy(m_key.data(), bytes, m_key.size());
    sodium_memzero(bytes, m_key.size());
}

} // namespace quillmere::noise
