#pragma once

// The vectors of 64-bit Arm for threshold_rows.h.

#include <cstdint>

#include <arm_neon.h>

namespace zerith::threshold::neon {

#define ZERITH_TARGET
#define ZERITH_INLINE static inline __attribute__((always_inline))

using Vector = uint16x8_t;
constexpr int kLanes = 8;

ZERITH_INLINE Vector load(const std::uint16_t* from) {
    return vld1q_u16(from);
}
ZERITH_INLINE void store(std::uint16_t* to, Vector value) {
    vst1q_u16(to, value);
}
ZERITH_INLINE Vector widen(const std::uint8_t* from) {
    return vmovl_u8(vld1_u8(from));
}
ZERITH_INLINE Vector add(Vector a, Vector b) {
    return vaddq_u16(a, b);
}
ZERITH_INLINE Vector subtract(Vector a, Vector b) {
    return vsubq_u16(a, b);
}

/// Whether sum >= factor * pixel + least, which fits 16 bits.
ZERITH_INLINE Vector reaches(Vector sum, Vector pixel, int factor, int least) {
    const Vector needed = vmlaq_n_u16(vdupq_n_u16(static_cast<std::uint16_t>(least)), pixel,
                                      static_cast<std::uint16_t>(factor));
    return vcgeq_u16(sum, needed);
}

/// Whether a + b + c >= factor * pixel + least.
ZERITH_INLINE Vector reaches(Vector a, Vector b, Vector c, Vector pixel, int factor, int least) {
    const uint32x4_t none = vdupq_n_u32(static_cast<std::uint32_t>(least));
    const auto times = static_cast<std::uint16_t>(factor);
    const uint32x4_t low = vaddw_u16(vaddl_u16(vget_low_u16(a), vget_low_u16(b)), vget_low_u16(c));
    const uint32x4_t high =
        vaddw_u16(vaddl_u16(vget_high_u16(a), vget_high_u16(b)), vget_high_u16(c));
    return vcombine_u16(vmovn_u32(vcgeq_u32(low, vmlal_n_u16(none, vget_low_u16(pixel), times))),
                        vmovn_u32(vcgeq_u32(high, vmlal_n_u16(none, vget_high_u16(pixel), times))));
}

/// One bit a lane.
ZERITH_INLINE std::uint64_t word(const Vector (&lanes)[64 / kLanes]) {
    const uint8x8_t weights8 = vcreate_u8(0x8040201008040201U);
    const uint8x16_t weights = vcombine_u8(weights8, weights8);
    uint8x16_t parts[4];
    for (int i = 0; i < 4; ++i) {
        parts[i] =
            vandq_u8(vcombine_u8(vmovn_u16(lanes[2 * i]), vmovn_u16(lanes[2 * i + 1])), weights);
    }
    const uint8x16_t pairs =
        vpaddq_u8(vpaddq_u8(parts[0], parts[1]), vpaddq_u8(parts[2], parts[3]));
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(pairs, pairs)), 0);
}

#include "threshold_rows.h"

#undef ZERITH_TARGET
#undef ZERITH_INLINE

} // namespace zerith::threshold::neon
