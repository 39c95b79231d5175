#pragma once

// The vectors of x86-64 for threshold_rows.h: SSE, which every such processor has, and AVX2, which
// is chosen at run time.

#include <array>
#include <cstdint>

#include <immintrin.h>

namespace zerith::threshold::sse {

#define ZERITH_TARGET
#define ZERITH_INLINE static inline __attribute__((always_inline))

using Vector = __m128i;
constexpr int kLanes = 8;

ZERITH_INLINE Vector load(const std::uint16_t* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}
ZERITH_INLINE void store(std::uint16_t* to, Vector value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}
ZERITH_INLINE Vector widen(const std::uint8_t* from) {
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)),
                             _mm_setzero_si128());
}
ZERITH_INLINE Vector add(Vector a, Vector b) {
    return _mm_add_epi16(a, b);
}
ZERITH_INLINE Vector subtract(Vector a, Vector b) {
    return _mm_sub_epi16(a, b);
}

/// Whether sum >= factor * pixel + least, which fits 16 bits.
ZERITH_INLINE Vector reaches(Vector sum, Vector pixel, int factor, int least) {
    const Vector needed =
        _mm_add_epi16(_mm_mullo_epi16(pixel, _mm_set1_epi16(static_cast<short>(factor))),
                      _mm_set1_epi16(static_cast<short>(least)));
    return _mm_cmpeq_epi16(_mm_subs_epu16(needed, sum), _mm_setzero_si128());
}

/// Whether a + b + c >= factor * pixel + least, where a and b need all 16 bits, the others and the
/// factor 15.
ZERITH_INLINE Vector reaches(Vector a, Vector b, Vector c, Vector pixel, int factor, int least) {
    const Vector ones = _mm_set1_epi16(1);
    const Vector half = _mm_set1_epi16(static_cast<short>(0x8000));
    const Vector factors =
        _mm_set1_epi32(static_cast<int>(static_cast<unsigned>(-factor) << 16U | 1U));
    const Vector below = _mm_set1_epi32(least - 1 - 0x10000);
    a = _mm_xor_si128(a, half);
    b = _mm_xor_si128(b, half);
    const Vector low = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), ones),
                                     _mm_madd_epi16(_mm_unpacklo_epi16(c, pixel), factors));
    const Vector high = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), ones),
                                      _mm_madd_epi16(_mm_unpackhi_epi16(c, pixel), factors));
    return _mm_packs_epi32(_mm_cmpgt_epi32(low, below), _mm_cmpgt_epi32(high, below));
}

/// One bit a lane.
ZERITH_INLINE std::uint64_t word(const Vector (&lanes)[64 / kLanes]) {
    std::uint64_t bits = 0;
    for (unsigned i = 0; i < 4; ++i) {
        const auto part = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_packs_epi16(lanes[2 * i], lanes[2 * i + 1])));
        bits |= static_cast<std::uint64_t>(part) << (16 * i);
    }
    return bits;
}

#include "threshold_rows.h"

#undef ZERITH_TARGET
#undef ZERITH_INLINE

} // namespace zerith::threshold::sse

namespace zerith::threshold::avx2 {

#define ZERITH_TARGET __attribute__((target("avx2")))
#define ZERITH_INLINE static inline __attribute__((always_inline, target("avx2")))

using Vector = __m256i;
constexpr int kLanes = 16;

ZERITH_INLINE Vector load(const std::uint16_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}
ZERITH_INLINE void store(std::uint16_t* to, Vector value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}
ZERITH_INLINE Vector widen(const std::uint8_t* from) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}
ZERITH_INLINE Vector add(Vector a, Vector b) {
    return _mm256_add_epi16(a, b);
}
ZERITH_INLINE Vector subtract(Vector a, Vector b) {
    return _mm256_sub_epi16(a, b);
}

/// Whether sum >= factor * pixel + least, which fits 16 bits.
ZERITH_INLINE Vector reaches(Vector sum, Vector pixel, int factor, int least) {
    const Vector needed =
        _mm256_add_epi16(_mm256_mullo_epi16(pixel, _mm256_set1_epi16(static_cast<short>(factor))),
                         _mm256_set1_epi16(static_cast<short>(least)));
    return _mm256_cmpeq_epi16(_mm256_subs_epu16(needed, sum), _mm256_setzero_si256());
}

/// Whether a + b + c >= factor * pixel + least, where a and b need all 16 bits, the others and the
/// factor 15.
ZERITH_INLINE Vector reaches(Vector a, Vector b, Vector c, Vector pixel, int factor, int least) {
    const Vector ones = _mm256_set1_epi16(1);
    const Vector half = _mm256_set1_epi16(static_cast<short>(0x8000));
    const Vector factors =
        _mm256_set1_epi32(static_cast<int>(static_cast<unsigned>(-factor) << 16U | 1U));
    const Vector below = _mm256_set1_epi32(least - 1 - 0x10000);
    a = _mm256_xor_si256(a, half);
    b = _mm256_xor_si256(b, half);
    const Vector low =
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), ones),
                         _mm256_madd_epi16(_mm256_unpacklo_epi16(c, pixel), factors));
    const Vector high =
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), ones),
                         _mm256_madd_epi16(_mm256_unpackhi_epi16(c, pixel), factors));
    return _mm256_packs_epi32(_mm256_cmpgt_epi32(low, below), _mm256_cmpgt_epi32(high, below));
}

/// One bit a lane.
ZERITH_INLINE std::uint64_t word(const Vector (&lanes)[64 / kLanes]) {
    std::uint64_t bits = 0;
    for (unsigned i = 0; i < 2; ++i) {
        // Packing goes by halves of the vectors: its quarters come as 0, 2, 1, 3.
        constexpr int kInOrder = 0xd8;
        const Vector packed =
            _mm256_permute4x64_epi64(_mm256_packs_epi16(lanes[2 * i], lanes[2 * i + 1]), kInOrder);
        bits |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm256_movemask_epi8(packed)))
                << (32 * i);
    }
    return bits;
}

#include "threshold_rows.h"

#undef ZERITH_TARGET
#undef ZERITH_INLINE

} // namespace zerith::threshold::avx2
