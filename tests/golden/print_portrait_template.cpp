// Prints the golden values: the output of this program is the file portrait_template.txt.
#include <cstdio>

#include "golden/portrait_template.h"
#include "support/program.h"
#include "support/temporary_folder.h"

static int print() {
    const TemporaryFolder folder;
    const FaceTemplate result = extractPortrait(folder.prefix());
    std::printf(
        R"(# The %d values of the sample portrait's template under the integer model of seed %d,
# as print_portrait_template wrote them. Every sum inside the networks is exact there, so
# that no BLAS can change a bit; all other arithmetic has a fixed order. A second writing
# of the whole path, in plain loops and 64-bit sums, gives the same values.
)",
        ZOMU_PROJECTION_SIZE + 2, int{kGoldenSeed});
    for (int n = 0; n < ZOMU_PROJECTION_SIZE; ++n) {
        std::printf("%a%c", static_cast<double>(result.projection[n]), n % 10 == 9 ? '\n' : ' ');
    }
    std::printf("%a %a\n", static_cast<double>(result.quadraticTerm),
                static_cast<double>(result.projectionNorm));
    return std::fflush(stdout) == 0 ? 0 : 1;
}

int main() {
    return runProgram("print_portrait_template", 1, print);
}
