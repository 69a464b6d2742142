// Prints the golden values: the output of this program is the file portrait_template.txt.
#include <cstdio>
#include <exception>

#include "golden/portrait_template.h"
#include "support/temporary_folder.h"

int main() {
    try {
        const TemporaryFolder folder;
        const FaceTemplate result = extractPortrait(Portrait(), folder.prefix());
        std::printf(
            "# The 502 values of the sample portrait's template under the integer model of seed "
            "%llu,\n"
            "# as print_portrait_template wrote them. Every sum inside the networks is exact "
            "there, so\n"
            "# that no BLAS can change a bit; all other arithmetic has a fixed order. A second "
            "writing\n"
            "# of the whole path, in plain loops and 64-bit sums, gives the same values.\n",
            static_cast<unsigned long long>(kGoldenSeed));
        for (const float value : result.projection) {
            std::printf("%a\n", static_cast<double>(value));
        }
        std::printf("%a\n%a\n", static_cast<double>(result.quadraticTerm),
                    static_cast<double>(result.projectionNorm));
        return std::fflush(stdout) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
