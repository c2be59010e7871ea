#pragma once

#include <cstdint>

// Base-128 integers: groups of 7 bits, least significant first, the high bit
// set on every byte but the last. Signed values are zigzag coded first, so
// that small magnitudes of either sign stay short.
//
// encode...(value, out) writes at most the maximal length for the width into
// out and returns the byte count. decode...(in, value) reads until a byte
// without the high bit, but never more than the maximal length, and returns the
// byte count; bits above the width are dropped.

namespace Sl
{

constexpr uint32_t kMaxBase128Bytes16 = 3;
constexpr uint32_t kMaxBase128Bytes32 = 5;
constexpr uint32_t kMaxBase128Bytes64 = 10;

namespace Detail
{

template <class U>
inline uint32_t encodeBase128(U value, uint8_t* out)
{
    uint32_t n = 0;
    while (value >= 0x80)
    {
        out[n++] = static_cast<uint8_t>(value | 0x80);
        value >>= 7;
    }
    out[n++] = static_cast<uint8_t>(value);
    return n;
}

template <class U, uint32_t MaxBytes>
inline uint32_t decodeBase128(const uint8_t* in, U& value)
{
    U result = 0;
    uint32_t n = 0;
    while (n < MaxBytes)
    {
        const uint8_t byte = in[n];
        const uint32_t shift = 7 * n;
        if (shift < sizeof(U) * 8)
            result |= static_cast<U>(static_cast<U>(byte & 0x7F) << shift);
        ++n;
        if (!(byte & 0x80))
            break;
    }
    value = result;
    return n;
}

template <class S, class U>
inline U zigzagEncode(S v)
{
    return static_cast<U>((static_cast<U>(v) << 1) ^ static_cast<U>(v >> (sizeof(S) * 8 - 1)));
}

template <class S, class U>
inline S zigzagDecode(U u)
{
    return static_cast<S>(static_cast<U>((u >> 1) ^ static_cast<U>(0 - (u & 1))));
}

}  // namespace Detail

inline uint32_t encodeU16Base128(uint16_t value, uint8_t* out)
{
    return Detail::encodeBase128<uint16_t>(value, out);
}
inline uint32_t encodeS16Base128(int16_t value, uint8_t* out)
{
    return Detail::encodeBase128<uint16_t>(Detail::zigzagEncode<int16_t, uint16_t>(value), out);
}
inline uint32_t encodeU32Base128(uint32_t value, uint8_t* out)
{
    return Detail::encodeBase128<uint32_t>(value, out);
}
inline uint32_t encodeS32Base128(int32_t value, uint8_t* out)
{
    return Detail::encodeBase128<uint32_t>(Detail::zigzagEncode<int32_t, uint32_t>(value), out);
}
inline uint32_t encodeU64Base128(uint64_t value, uint8_t* out)
{
    return Detail::encodeBase128<uint64_t>(value, out);
}
inline uint32_t encodeS64Base128(int64_t value, uint8_t* out)
{
    return Detail::encodeBase128<uint64_t>(Detail::zigzagEncode<int64_t, uint64_t>(value), out);
}

inline uint32_t decodeU16Base128(const uint8_t* in, uint16_t& value)
{
    return Detail::decodeBase128<uint16_t, kMaxBase128Bytes16>(in, value);
}
inline uint32_t decodeS16Base128(const uint8_t* in, int16_t& value)
{
    uint16_t u;
    const uint32_t n = Detail::decodeBase128<uint16_t, kMaxBase128Bytes16>(in, u);
    value = Detail::zigzagDecode<int16_t, uint16_t>(u);
    return n;
}
inline uint32_t decodeU32Base128(const uint8_t* in, uint32_t& value)
{
    return Detail::decodeBase128<uint32_t, kMaxBase128Bytes32>(in, value);
}
inline uint32_t decodeS32Base128(const uint8_t* in, int32_t& value)
{
    uint32_t u;
    const uint32_t n = Detail::decodeBase128<uint32_t, kMaxBase128Bytes32>(in, u);
    value = Detail::zigzagDecode<int32_t, uint32_t>(u);
    return n;
}
inline uint32_t decodeU64Base128(const uint8_t* in, uint64_t& value)
{
    return Detail::decodeBase128<uint64_t, kMaxBase128Bytes64>(in, value);
}
inline uint32_t decodeS64Base128(const uint8_t* in, int64_t& value)
{
    uint64_t u;
    const uint32_t n = Detail::decodeBase128<uint64_t, kMaxBase128Bytes64>(in, u);
    value = Detail::zigzagDecode<int64_t, uint64_t>(u);
    return n;
}

}  // namespace Sl
