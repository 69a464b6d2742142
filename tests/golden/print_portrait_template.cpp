// Prints golden values: the output of this program, with the name of a model as its argument, is the
// file portrait_MODEL.txt.
#include <cstdio>
#include <string>

#include "golden/portrait_template.h"
#include "support/program.h"
#include "support/temporary_folder.h"

static const char kIntegerHead[] =
    R"(# The 502 values of the sample portrait's template under the integer model of seed 1, as
# print_portrait_template wrote them. Every sum inside the networks is exact there, so that no
# BLAS can change a bit; all other arithmetic has a fixed order. A second writing of the whole
# path, in plain loops and 64-bit sums, gives the same values.
)";

static const char kDemonstrationHead[] =
    R"(# The 502 values of the sample portrait's template under the demonstration model, as
# print_portrait_template wrote them. Every sum has one order, with one fused multiply-add for
# each term. A second writing of the whole path, in plain loops, gives the same values.
)";

static int print(bool isInteger) {
    const TemporaryFolder folder;
    loadGoldenModel(isInteger ? GoldenModel::integer : GoldenModel::demonstration, folder.prefix());
    const FaceTemplate result = extractPortrait(runnableKernels().front());
    std::fputs(isInteger ? kIntegerHead : kDemonstrationHead, stdout);
    for (int n = 0; n < ZOMU_PROJECTION_SIZE; ++n) {
        std::printf("%a%c", static_cast<double>(result.projection[n]), n % 10 == 9 ? '\n' : ' ');
    }
    std::printf("%a %a\n", static_cast<double>(result.quadraticTerm),
                static_cast<double>(result.projectionNorm));
    return std::fflush(stdout) == 0 ? 0 : 1;
}

int main(int argc, char** argv) {
    const std::string model = argc == 2 ? argv[1] : "";
    if (model != "integer" && model != "demonstration") {
        std::fputs("usage: print_portrait_template integer|demonstration\n", stderr);
        return 2;
    }
    return runProgram("print_portrait_template", 1, [&] { return print(model == "integer"); });
}
