#include "focus/SecureWordPool.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>

namespace quillmere::noise {

SecureWordPool::SecureWordPool(std::size_t capacity)
    : m_words(new std::uint32_t[std::max<std::size_t>(capacity, 1)]()),
      m_capacity(std::max<std::size_t>(capacity, 1)) {}

void SecureWordPool::prepare(std::size_t draws) {
    refill(std::min(std::max<std::size_t>(draws, 1), m_capacity));
}

void SecureWordPool::refill(std::size_t count) {
    auto* bytes = reinterpret_cast<unsigned char*>(m_words.get());
    const std::size_t wanted = count * sizeof(std::uint32_t);
    std::size_t got = 0;
    while (got < wanted) {
        const ssize_t n = getrandom(bytes + got, wanted - got, 0);
        if (n > 0) {
            got += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            break;
        }
    }
    // Whole words only; whatever the kernel did not deliver becomes silence.
    const std::size_t whole = got / sizeof(std::uint32_t);
    std::fill(m_words.get() + whole, m_words.get() + count, silentWord);
    m_filled = count;
    m_next = 0;
}

} // namespace quillmere::noise
