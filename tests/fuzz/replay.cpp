// Feeds every stored input of one fuzz target to it: what was found once is tested again with every
// compiler. A file without inputs is a failure.
//
//   replay_TARGET CORPUS
//
// A line of CORPUS holds the bytes of one input in hexadecimal digits, then perhaps its name.
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "support/program.h"

// In storage of the exact size, so that a sanitizer sees the first byte too many.
static std::vector<std::uint8_t> bytesOf(const std::string& line) {
    const std::size_t digits = line.substr(0, line.find(' ')).size();
    if (digits % 2 != 0) {
        throw std::runtime_error("half a byte in: " + line);
    }
    std::vector<std::uint8_t> bytes(digits / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::size_t read = 0;
        bytes[i] = static_cast<std::uint8_t>(std::stoul(line.substr(2 * i, 2), &read, 16));
        if (read != 2) {
            throw std::runtime_error("no hexadecimal digits: " + line);
        }
    }
    return bytes;
}

int main(int argc, char** argv) {
    return runProgram("replay", 1, [&] {
        std::ifstream file(argc == 2 ? argv[1] : "");
        int count = 0;
        for (std::string line; std::getline(file, line);) {
            std::fprintf(stderr, "line %d\n", ++count);
            const std::vector<std::uint8_t> bytes = bytesOf(line);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
        std::fprintf(stderr, "%d inputs replayed\n", count);
        return count > 0 ? 0 : 1;
    });
}
