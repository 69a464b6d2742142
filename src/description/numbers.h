// The two number parsers for the scalar settings of a description.
#ifndef ZOMU_DESCRIPTION_NUMBERS_H
#define ZOMU_DESCRIPTION_NUMBERS_H

#include <cstdint>

enum ParseResult : std::int32_t {
    parseOk = 0,
    parseClamped = 1,   // out of range: replaced by the nearest limit
    parseStopped = 2,   // zeros, then a byte that ends the number
    parseNoNumber = 3,  // nothing was read, and `out` is unchanged
};

// Decimal integer with an optional sign.
ParseResult parseInt32(const char* text, std::int32_t& out);

// Decimal number with an optional sign and fraction. A number with a `.`, or with 40 digits or
// more, is clamped to the float range; any other that is too large becomes infinity.
ParseResult parseFloat32(const char* text, float& out);

// The two halves of parseFloat32. Both leave `cursor` past what they read. The whole part has at
// most 39 digits: a 40th gives parseClamped and leaves `out` unchanged. The fraction has at most 38
// digits, and the rest is not read. The order of the sums and products determines the last bits of
// the result.
ParseResult parseWholePart(const char*& cursor, double& out);
void parseFractionPart(const char*& cursor, double& out);

#endif
