/* SPDX-License-Identifier: MIT */
/**
 * @file bytes.h  Big-endian record fields.
 *
 * Records that are shared with other programs (cache images, battery records) are big-endian on every host. Their
 * fields have the types below:
 *
 * - In C++ a field is a `kvrn::be<T>`. It converts to and from `T`, so `rec.voltage_mv` reads and assigns as a number.
 * - In C a field is a plain integer on a big-endian host, and a struct with one member on any other host. Read and
 *    write it with the accessors, which compile on both: `kvrn_i32(rec.voltage_mv)`,
 *    `rec.voltage_mv = kvrn_to_i32(12000)`.
 *
 * C callers need C11. C++ callers need C++17 and g++ 11, clang 9 or newer. Compute in local variables of plain types,
 * and assign the result to the record once.
 */
#ifndef KVRN_BYTES_H
#define KVRN_BYTES_H

#include <kvrn/export.h>
#include <stdint.h>

#if defined(__cplusplus)
#if __cplusplus < 201703L
#error "the kvrn headers need C++17, or C11"
#endif

#include <cstdint>
#include <type_traits>

namespace kvrn {

template <typename T>
using bits_of = std::conditional_t<
    sizeof(T) == 8, std::uint64_t,
    std::conditional_t<sizeof(T) == 4, std::uint32_t, std::conditional_t<sizeof(T) == 2, std::uint16_t, std::uint8_t>>>;

/** The bytes of an unsigned number in reverse order. */
template <typename U>
constexpr U byte_swapped(U value) {
  static_assert(std::is_unsigned_v<U>, "bytes of an unsigned number");
  if constexpr (sizeof(U) == 8) return __builtin_bswap64(value);
  if constexpr (sizeof(U) == 4) return __builtin_bswap32(value);
  if constexpr (sizeof(U) == 2) return __builtin_bswap16(value);
  return value;
}

/**
 * A number that is stored big-endian on every host, with natural alignment. The type is trivial: a record with such
 * fields can be copied and zeroed as bytes.
 */
template <typename T>
class be {
  static_assert(std::is_arithmetic_v<T>, "a field holds a number");

 public:
  be() = default;
  // A field converts to and from a number without a cast.  NOLINTBEGIN(google-explicit-constructor)
  constexpr be(T value) : stored_(swap(__builtin_bit_cast(bits_of<T>, value))) {}
  constexpr operator T() const { return __builtin_bit_cast(T, swap(stored_)); }
  // NOLINTEND(google-explicit-constructor)

 private:
  static constexpr bits_of<T> swap(bits_of<T> value) {
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? value : byte_swapped(value);
  }
  bits_of<T> stored_;
};

}  // namespace kvrn

#define KVRN_BE_FIELD(name, type, bits)                                     \
  typedef kvrn::be<type> kvrn_be_##name;                                    \
  inline constexpr type kvrn_##name(kvrn_be_##name field) { return field; } \
  inline constexpr kvrn_be_##name kvrn_to_##name(type value) { return value; }

#elif __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__

#define KVRN_BE_FIELD(name, type, bits)                                  \
  typedef type kvrn_be_##name;                                           \
  static inline type kvrn_##name(kvrn_be_##name field) { return field; } \
  static inline kvrn_be_##name kvrn_to_##name(type value) { return value; }

#else

/* The union reinterprets the bits of a float. For integers it gives the conversion that gcc and clang define. */
#define KVRN_BE_FIELD(name, type, bits)                          \
  typedef struct kvrn_be_##name {                                \
    uint##bits##_t stored;                                       \
  } kvrn_be_##name;                                              \
  static inline type kvrn_##name(kvrn_be_##name field) {         \
    union {                                                      \
      uint##bits##_t raw;                                        \
      type value;                                                \
    } u;                                                         \
    u.raw = (uint##bits##_t)__builtin_bswap##bits(field.stored); \
    return u.value;                                              \
  }                                                              \
  static inline kvrn_be_##name kvrn_to_##name(type value) {      \
    union {                                                      \
      uint##bits##_t raw;                                        \
      type value;                                                \
    } u;                                                         \
    kvrn_be_##name field;                                        \
    u.value = value;                                             \
    field.stored = (uint##bits##_t)__builtin_bswap##bits(u.raw); \
    return field;                                                \
  }

#endif

KVRN_BE_FIELD(u16, uint16_t, 16)
KVRN_BE_FIELD(i16, int16_t, 16)
KVRN_BE_FIELD(u32, uint32_t, 32)
KVRN_BE_FIELD(i32, int32_t, 32)
KVRN_BE_FIELD(i64, int64_t, 64)
KVRN_BE_FIELD(f32, float, 32)

#undef KVRN_BE_FIELD

#endif
