// The number parsers behind the scalar getters against the reference.
#include <bit>
#include <string>

#include "description/numbers.h"
#include "fuzz/fuzz_target.h"
#include "reference/reference_numbers.h"

static_assert(static_cast<int>(parseOk) == static_cast<int>(ReferenceResult::ok) &&
              static_cast<int>(parseClamped) == static_cast<int>(ReferenceResult::clamped) &&
              static_cast<int>(parseStopped) == static_cast<int>(ReferenceResult::stopped) &&
              static_cast<int>(parseNoNumber) == static_cast<int>(ReferenceResult::noNumber));

static bool same(ParseResult result, ReferenceResult expected) {
    return static_cast<int>(result) == static_cast<int>(expected);
}

static bool sameBits(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The parsers are given values of a description, which end in a NUL.
    const std::string bytes(data, data + size);
    const char* text = bytes.c_str();

    std::int32_t integer = 77;
    std::int32_t expectedInteger = 77;
    REQUIRE(same(parseInt32(text, integer), referenceInt(text, expectedInteger)));
    REQUIRE(integer == expectedInteger);

    float real = 7.5F;
    float expectedReal = 7.5F;
    REQUIRE(same(parseFloat32(text, real), referenceFloat(text, expectedReal)));
    REQUIRE(std::bit_cast<std::uint32_t>(real) == std::bit_cast<std::uint32_t>(expectedReal));

    const char* cursor = text;
    double part = -7.0;
    double expectedPart = -7.0;
    std::size_t read = 0;
    const ReferenceResult expected = referenceWhole(text, expectedPart, read);
    REQUIRE(same(parseWholePart(cursor, part), expected));
    REQUIRE(sameBits(part, expectedPart));
    const bool isRead = expected == ReferenceResult::ok || expected == ReferenceResult::stopped;
    REQUIRE(!isRead || cursor == text + read);

    cursor = text;
    parseFractionPart(cursor, part);
    REQUIRE(sameBits(part, referenceFraction(text, read)));
    REQUIRE(cursor == text + read);
    return 0;
}
