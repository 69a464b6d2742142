// Typed access to the descriptions, by section name and key.
//
// Scalars and lists read numbers differently. Scalars clamp on overflow, know no exponent and
// ignore what follows the number: `1.5e3` is 1.5. Lists are split at `_` and their tokens go
// through formatted stream extraction in the classic locale: `1.5e3` is 1500.
//
// The getters that take a section name read the description of the network being built, so they run
// in the construction of a network only, one thread at a time. A section that is not there counts
// as one without the key.
#ifndef ZOMU_DESCRIPTION_PARAMETERS_H
#define ZOMU_DESCRIPTION_PARAMETERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "description/description_reader.h"
#include "description/net_texts.h"

// One slot for each network, filled when that network is built, and the slot in use.
extern NetDescription g_descriptions[kDescriptionCount];
extern std::int32_t g_currentNet;

// The section of that name, or null. The empty name finds none.
const DescriptionSection* getSection(const NetDescription& description, const std::string& name);

// The same in the description of the network being built.
const DescriptionSection* currentSection(const std::string& name);

// The value up to its first comma. False, with `out` as it was, where the key is missing; the empty
// key always is.
bool getString(const DescriptionSection* section, const std::string& key, std::string& out);

// False, with `out` as it was, where the key is missing or its value does not start with a number.
bool getFloat(const DescriptionSection* section, const std::string& key, float& out);

// Leaves `out`, the caller's default, where the key is missing or its value does not start with a
// number. A clamped number is a number.
void getInt(const std::string& sectionName, const std::string& key, std::int32_t& out);

// The tokens of a value; empty for a missing key. A token that yields no number that fits repeats
// the number before it; the first one then gives 0.
std::vector<std::string> getStringList(const std::string& sectionName, const std::string& key);
std::vector<std::int32_t> getIntList(const std::string& sectionName, const std::string& key);
std::vector<float> getFloatList(const std::string& sectionName);  // of the key "coeffs"

// Splits at `_`. Tokens between two `_` may be empty, but a final `_` opens no further token.
std::vector<std::string> splitList(const std::string& value);

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
