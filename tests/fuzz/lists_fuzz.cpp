// The list getters against the reference.
#include <bit>
#include <string>
#include <vector>

#include "description/parameters.h"
#include "fuzz/fuzz_target.h"
#include "reference/reference_numbers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // As far as a description can hold it in one value: without the bytes that the reader drops or
    // that end a value. Vertical tab and form feed are white space that stays.
    std::string value;
    for (std::size_t i = 0; i < size && data[i] != 0; ++i) {
        if (std::string(" \t\r\n;,").find(static_cast<char>(data[i])) == std::string::npos) {
            value += static_cast<char>(data[i]);
        }
    }
    const NetDescription description = parseDescription(("[s]\ncoeffs=" + value + "\n").c_str());
    const DescriptionSection* section = getSection(description, "s");

    const std::vector<std::string> tokens = referenceTokens(value);
    REQUIRE(splitList(value) == tokens);
    REQUIRE(getStringList(section, "coeffs") == tokens);

    const std::vector<std::int32_t> integers = getIntList(section, "coeffs");
    const std::vector<float> floats = getFloatList(section);
    REQUIRE(integers.size() == tokens.size());
    REQUIRE(floats.size() == tokens.size());
    std::int32_t integer = 0;
    float real = 0.0F;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        referenceListInt(tokens[i], integer);
        REQUIRE(integers[i] == integer);
        referenceListFloat(tokens[i], real);
        REQUIRE(std::bit_cast<std::uint32_t>(floats[i]) == std::bit_cast<std::uint32_t>(real));
    }
    return 0;
}
