#include "analysis/common_structs.h"

#include <type_traits>

// The records are plain values: lists of them are copied, moved and kept by callers while the
// tracker and the tick go on. These checks make a change that would break that fail here, with the
// reason beside it.
static_assert(std::is_copy_constructible_v<detection> &&
                  std::is_nothrow_move_constructible_v<detection>,
              "a list of detections must grow by moving");
static_assert(std::is_copy_constructible_v<one_find> &&
                  std::is_nothrow_move_constructible_v<one_find>,
              "a list of findings must grow by moving");
static_assert(std::is_trivially_copyable_v<rectangle>,
              "rectangles stand in fixed arrays of shapes");
static_assert(sizeof(footings) == sizeof(int), "a footing is counted and compared as an int");
