// The integer types of the whole program. They are spelled here once because std::uint64_t is a different type
// on each system while the carry intrinsics want `unsigned long long` on both.
#pragma once

#include <cstddef>

namespace trel {

using u8 = unsigned char;
using u16 = unsigned short;
using u32 = unsigned int;
using u64 = unsigned long long;
using i8 = signed char;
using i16 = short;
using i32 = int;
using i64 = long long;
using u128 = unsigned __int128;
using i128 = __int128;

// A machine word of every big number: 64 bits, arrays least significant word first.
using Word = u64;

static_assert(sizeof(u64) == 8 && sizeof(u32) == 4 && sizeof(void*) == 8);

}  // namespace trel
