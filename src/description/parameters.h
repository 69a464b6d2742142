// Typed access to the settings of one section.
//
// Scalars and lists read numbers differently. Scalars clamp on overflow, do not accept exponents
// and ignore what follows the number: `1.5e3` is 1.5. Lists are split at `_` and their tokens go
// through formatted stream extraction in the classic locale: `1.5e3` is 1500.
//
// A null section, as for a layer that is named but not described, has no keys.
#ifndef ZOMU_DESCRIPTION_PARAMETERS_H
#define ZOMU_DESCRIPTION_PARAMETERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "description/description_reader.h"

// The section with that name, or null. The empty name finds none. Valid as long as `description`
// is.
const DescriptionSection* getSection(const NetDescription& description, const std::string& name);

// Reads the value up to its first comma. True if the key exists, which the empty key never does;
// otherwise `out` is unchanged.
bool getString(const DescriptionSection* section, const std::string& key, std::string& out);

// True if the key exists and its value starts with a number; otherwise `out` is unchanged.
bool getFloat(const DescriptionSection* section, const std::string& key, float& out);

// Keeps `out`, the caller's default, if the key is missing or its value does not start with a
// number. A clamped number counts as one.
void getInt(const DescriptionSection* section, const std::string& key, std::int32_t& out);

// The tokens of a value; empty for a missing key. A token that is not a number in range repeats the
// number before it, or gives 0 if it is the first.
std::vector<std::string> getStringList(const DescriptionSection* section, const std::string& key);
std::vector<std::int32_t> getIntList(const DescriptionSection* section, const std::string& key);
std::vector<float> getFloatList(const DescriptionSection* section);  // of the key "coeffs"

// Splits at `_`. Tokens between two `_` may be empty, but a final `_` does not start another token.
std::vector<std::string> splitList(const std::string& value);

#endif
