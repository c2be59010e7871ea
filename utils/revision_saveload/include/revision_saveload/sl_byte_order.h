#pragma once

#include <cstdint>
#include <cstring>

namespace Sl
{

// True on a big-endian machine.
constexpr bool isBigEndian()
{
#if defined(__BYTE_ORDER__) && defined(__ORDER_BIG_ENDIAN__)
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
#else
    return false;
#endif
}

// Reverses the N bytes at data in place.
template <unsigned N>
void swapBytes(void* data)
{
    static_assert(N == 2 || N == 4 || N == 8, "swapBytes: 2, 4 or 8 bytes");
    if constexpr (N == 2)
    {
        uint16_t v;
        std::memcpy(&v, data, 2);
        v = __builtin_bswap16(v);
        std::memcpy(data, &v, 2);
    }
    else if constexpr (N == 4)
    {
        uint32_t v;
        std::memcpy(&v, data, 4);
        v = __builtin_bswap32(v);
        std::memcpy(data, &v, 4);
    }
    else
    {
        uint64_t v;
        std::memcpy(&v, data, 8);
        v = __builtin_bswap64(v);
        std::memcpy(data, &v, 8);
    }
}

// Does nothing; stands in for swapBytes<N> when the stream's order is the machine's.
template <unsigned N>
void keepBytes(void*)
{
}

}  // namespace Sl
