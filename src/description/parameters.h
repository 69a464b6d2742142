// Typed access to the settings of one section.
//
// Scalars and lists read numbers differently. Scalars clamp on overflow, know no exponent and
// ignore what follows the number: `1.5e3` is 1.5. Lists are split at `_` and their tokens go
// through formatted stream extraction in the classic locale: `1.5e3` is 1500.
//
// A null section, such as that of a layer which is named but not described, has no keys.
#ifndef ZOMU_DESCRIPTION_PARAMETERS_H
#define ZOMU_DESCRIPTION_PARAMETERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "description/description_reader.h"

// The section of that name, or null. The empty name finds none. Valid as long as `description` is.
const DescriptionSection* getSection(const NetDescription& description, const std::string& name);

// The value up to its first comma. False, with `out` as it was, where the key is missing; the empty
// key always is.
bool getString(const DescriptionSection* section, const std::string& key, std::string& out);

// False, with `out` as it was, where the key is missing or its value does not start with a number.
bool getFloat(const DescriptionSection* section, const std::string& key, float& out);

// Leaves `out`, the caller's default, where the key is missing or its value does not start with a
// number. A clamped number is a number.
void getInt(const DescriptionSection* section, const std::string& key, std::int32_t& out);

// The tokens of a value; empty for a missing key. A token that yields no number that fits repeats
// the number before it; the first one then gives 0.
std::vector<std::string> getStringList(const DescriptionSection* section, const std::string& key);
std::vector<std::int32_t> getIntList(const DescriptionSection* section, const std::string& key);
std::vector<float> getFloatList(const DescriptionSection* section);  // of the key "coeffs"

// Splits at `_`. Tokens between two `_` may be empty, but a final `_` opens no further token.
std::vector<std::string> splitList(const std::string& value);

#endif
