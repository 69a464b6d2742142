// The two number parsers behind the scalar settings of a description.
#ifndef ZOMU_DESCRIPTION_NUMBERS_H
#define ZOMU_DESCRIPTION_NUMBERS_H

#include <cstdint>

enum ParseResult : std::int32_t {
    parseOk = 0,
    parseClamped = 1,   // out of range: the nearest limit stands in
    parseStopped = 2,   // zeros, then a byte that ends the number
    parseNoNumber = 3,  // nothing was read and `out` is as it was
};

// Decimal integer with an optional sign.
ParseResult parseInt32(const char* text, std::int32_t& out);

// Decimal number with an optional sign and fraction. Only a number with a `.` is clamped to the
// float range; without one it turns into infinity, unless it has 40 digits or more.
ParseResult parseFloat32(const char* text, float& out);

// The two halves of parseFloat32, which leave `cursor` behind what they read. At most 39 digits
// (parseClamped, with `out` as it was, at the next) and 38 digits (the rest stays unread). The
// order of their sums and products fixes the last bits of the result.
ParseResult parseWholePart(const char*& cursor, double& out);
void parseFractionPart(const char*& cursor, double& out);

#endif
