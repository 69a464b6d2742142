// The numbers of a description once more, scalars and lists. A text is taken apart first and
// computed afterwards, integers are compared as digits, and the floats of lists are converted by
// another function of the standard library than streams use.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_NUMBERS_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class ReferenceResult { ok, clamped, stopped, noNumber };

// Both leave `number` as it was where there is none.
ReferenceResult referenceInt(std::string_view text, std::int32_t& number);
ReferenceResult referenceFloat(std::string_view text, float& number);

// The two halves of referenceFloat. `read` is how many bytes the number takes.
ReferenceResult referenceWhole(std::string_view text, double& number, std::size_t& read);
double referenceFraction(std::string_view text, std::size_t& read);

std::vector<std::string> referenceTokens(const std::string& value);

// The number of a token, or, where it holds none that fits, the one that stands there.
void referenceListInt(const std::string& token, std::int32_t& number);
void referenceListFloat(const std::string& token, float& number);

#endif
