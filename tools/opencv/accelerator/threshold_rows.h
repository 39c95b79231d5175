// Thresholding of rows with vectors. Included inside a namespace that has them, once for each kind
// (so there is no #pragma once): Vector, kLanes, load(), store(), widen(), add(), subtract(),
// reaches(), word(), and the attributes of its functions, ZERITH_TARGET and ZERITH_INLINE.

/// sums += added - taken
ZERITH_TARGET static inline void moveDown(std::uint16_t* sums, const std::uint8_t* added,
                                          const std::uint8_t* taken, int width) {
    int x = 0;
    for (; x + kLanes <= width; x += kLanes) {
        store(sums + x, add(load(sums + x), subtract(widen(added + x), widen(taken + x))));
    }
    for (; x < width; ++x) {
        sums[x] = static_cast<std::uint16_t>(sums[x] + added[x] - taken[x]);
    }
}

/// The sum of four neighbours, the first one given.
ZERITH_INLINE Vector four(const std::uint16_t* sums) {
    return add(add(load(sums), load(sums + 1)), add(load(sums + 2), load(sums + 3)));
}

ZERITH_TARGET static inline void thresholdRow3(const Row& row) {
    constexpr int kArea = 9;
    const int least = sumForZero(kArea, row.constant);
    Block block;
    for (int x = 0; x < row.width; x += BitPicture::kWordBits) {
        const std::uint8_t* const pixels = block.of(row, x);
        const std::uint16_t* const sums = row.sums + x;
        Vector lanes[64 / kLanes];
        for (int i = 0; i < 64 / kLanes; ++i) {
            const std::uint16_t* const s = sums + i * kLanes;
            const Vector sum = add(add(load(s - 1), load(s)), load(s + 1));
            lanes[i] = reaches(sum, widen(pixels + i * kLanes), kArea, least);
        }
        row.bits[x / BitPicture::kWordBits] = word(lanes);
    }
}

ZERITH_TARGET static inline void thresholdRow13(const Row& row) {
    constexpr int kArea = 169;
    const int least = sumForZero(kArea, row.constant);
    Block block;
    for (int x = 0; x < row.width; x += BitPicture::kWordBits) {
        const std::uint8_t* const pixels = block.of(row, x);
        const std::uint16_t* const sums = row.sums + x;
        Vector lanes[64 / kLanes];
        for (int i = 0; i < 64 / kLanes; ++i) {
            const std::uint16_t* const s = sums + i * kLanes;
            const Vector sum = add(add(four(s - 6), four(s - 2)), add(four(s + 2), load(s + 6)));
            lanes[i] = reaches(sum, widen(pixels + i * kLanes), kArea, least);
        }
        row.bits[x / BitPicture::kWordBits] = word(lanes);
    }
}

ZERITH_TARGET static inline void thresholdRow23(const Row& row) {
    constexpr int kArea = 529;
    const int least = sumForZero(kArea, row.constant);
    Block block;
    for (int x = 0; x < row.width; x += BitPicture::kWordBits) {
        const std::uint8_t* const pixels = block.of(row, x);
        const std::uint16_t* const sums = row.sums + x;
        Vector lanes[64 / kLanes];
        for (int i = 0; i < 64 / kLanes; ++i) {
            // Eleven columns of 23 pixels are the most that 16 bits hold.
            const std::uint16_t* const s = sums + i * kLanes;
            const Vector left = add(add(four(s - 11), four(s - 7)),
                                    add(add(load(s - 3), load(s - 2)), load(s - 1)));
            const Vector right =
                add(add(four(s + 8), four(s + 4)), add(add(load(s + 3), load(s + 2)), load(s + 1)));
            lanes[i] = reaches(left, right, load(s), widen(pixels + i * kLanes), kArea, least);
        }
        row.bits[x / BitPicture::kWordBits] = word(lanes);
    }
}
