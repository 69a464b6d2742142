// A host that has a BLAS and an OpenMP team of its own, and opens and closes the library again and
// again. What goes wrong is one line on standard error.
//
//   zomu_blas_host LIBRARY FOLDER CYCLES    FOLDER: where the host's BLAS must have come from
#include <cblas.h>
#include <dlfcn.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "hardening/guest_state.h"
#include "hardening/memory_use.h"
#include "library/host/host.h"
#include "support/program.h"

// Of the host's BLAS; its header for the library's own archive declares them alike.
extern "C" {
void openblas_set_num_threads(int threads);
int openblas_get_num_threads();
}

namespace {

constexpr int kTeam = 3;
constexpr int kBlasThreads = 2;

std::atomic<int> g_complaints = 0;

void expect(bool isTrue, const char* what, int cycle) {
    if (!isTrue && ++g_complaints <= 20) {
        std::fprintf(stderr, "cycle %d: %s\n", cycle, what);
    }
}

// What the host keeps for each thread of its team.
thread_local int g_mark = -1;

// Whole numbers that stay small: any order of the sums gives the same product. Rows of the first
// factor and columns of the second are of one number each, so that the product can be told.
bool isProductRight() {
    constexpr int kRows = 150, kColumns = 130, kInner = 170;
    std::vector<float> a, b, expected;
    for (int i = 0; i < kRows * kInner; ++i) {
        a.push_back(static_cast<float>(i / kInner % 11 - 5));
    }
    for (int i = 0; i < kInner * kColumns; ++i) {
        b.push_back(static_cast<float>(i % kColumns % 13 - 6));
    }
    for (int i = 0; i < kRows * kColumns; ++i) {
        expected.push_back(
            static_cast<float>(kInner * (i / kColumns % 11 - 5) * (i % kColumns % 13 - 6)));
    }
    std::vector<float> c(kRows * kColumns, 7);
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, kRows, kColumns, kInner, 1, a.data(),
                kInner, b.data(), kColumns, 0, c.data(), kColumns);
    return c == expected;
}

// The file that a symbol came from.
std::string fileOf(void* symbol) {
    Dl_info info;
    return dladdr(symbol, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
}

struct OpenMpSettings {
    int maxThreads = omp_get_max_threads();
    int dynamic = omp_get_dynamic();
    int levels = omp_get_max_active_levels();
    int limit = omp_get_thread_limit();
    int places = omp_get_num_places();
    omp_proc_bind_t binding = omp_get_proc_bind();
    omp_sched_t schedule = omp_sched_auto;
    int chunk = 0;

    OpenMpSettings() { omp_get_schedule(&schedule, &chunk); }
    bool operator==(const OpenMpSettings&) const = default;
};

// A team's work: its size, its own variables, its threads' modes, its sum.
class Team {
  public:
    Team() : states(kTeam) {
#pragma omp parallel
        {
            const int number = omp_get_thread_num();
            g_mark = 100 + number;
            states[static_cast<std::size_t>(number)] = threadState();
        }
    }

    void check(int cycle) const {
        int size = 0;
        int differences = 0;
        long sum = 0;
#pragma omp parallel reduction(+ : differences, sum)
        {
            const int number = omp_get_thread_num();
#pragma omp single
            size = omp_get_num_threads();
            differences += g_mark == 100 + number ? 0 : 1;
            differences +=
                reportDifferences("a thread of the host's team",
                                  states[static_cast<std::size_t>(number)], threadState());
#pragma omp for schedule(runtime)
            for (int i = 0; i < 10000; ++i) {
                sum += i;
            }
        }
        expect(size == kTeam, "the host's team has another size", cycle);
        expect(differences == 0, "the host's team is not as it was", cycle);
        expect(sum == 49995000, "the host's team calculates wrongly", cycle);
    }

  private:
    std::vector<GuestState> states;
};

// Whether a new context gives the template that the very first one gave.
bool givesTheFirst(const Library& library) {
    const FaceTemplate face = Context(library).extract(scene(0));
    static const FaceTemplate first = face;
    return std::memcmp(&first, &face, sizeof face) == 0;
}

// The host's product and another team of its at work on another thread meanwhile.
void extractBesideWork(const Library& library, int cycle) {
    std::atomic<bool> isOver = false;
    std::atomic<int> wrong = 0;
    std::thread worker([&] {
        omp_set_num_threads(kTeam);
        do {
            long sum = 0;
#pragma omp parallel for reduction(+ : sum)
            for (int i = 0; i < 1000; ++i) {
                sum += i;
            }
            wrong += sum == 499500 && isProductRight() && omp_get_max_threads() == kTeam ? 0 : 1;
        } while (!isOver);
    });
    const bool isSame = givesTheFirst(library);
    isOver = true;
    worker.join();
    expect(isSame, "another template beside the host's work", cycle);
    expect(wrong == 0, "the host's work beside the library went wrong", cycle);
}

int goThroughCycles(const std::string& path, const std::string& blasFolder, int cycles) {
    openblas_set_num_threads(kBlasThreads);  // some builds set the team's size with it
    omp_set_num_threads(kTeam);
    omp_set_dynamic(0);
    omp_set_max_active_levels(2);
    omp_set_schedule(omp_sched_guided, 7);
    void* const sgemm = dlsym(RTLD_DEFAULT, "cblas_sgemm");
    expect(fileOf(sgemm).starts_with(blasFolder + "/"), fileOf(sgemm).c_str(), 0);
    const OpenMpSettings settings;
    const Team team;
    team.check(0);
    expect(isProductRight(), "the host's BLAS is wrong from the start", 0);
    const int blasThreads = openblas_get_num_threads();

    // Contexts come and go on several threads, each with a heap of its own that keeps some memory
    // back: what the system counts goes up and down by some MB. What is handed out does not.
    long memory = 0;
    for (int cycle = 1; cycle <= cycles; ++cycle) {
        {
            const Library library(path);
            expect(fileOf(reinterpret_cast<void*>(library.create)) != fileOf(sgemm),
                   "the library is the host's BLAS", cycle);
            FaceTemplate one = {};
            one.projectionNorm = 1;
            library.compare(&one, &one);
            if (cycle % 5 == 1) {
                expect(givesTheFirst(library), "another template", cycle);
            }
            if (cycle % 20 == 2) {
                int differences = 0;  // of a context for each thread of the host's team
#pragma omp parallel reduction(+ : differences)
                { differences += givesTheFirst(library) ? 0 : 1; }
                expect(differences == 0, "another template inside the host's team", cycle);
            }
            if (cycle % 20 == 3) {
                extractBesideWork(library, cycle);
            }
        }
        expect(dlsym(RTLD_DEFAULT, "cblas_sgemm") == sgemm, "cblas_sgemm is another one", cycle);
        expect(OpenMpSettings() == settings, "the host's OpenMP settings have changed", cycle);
        expect(openblas_get_num_threads() == blasThreads, "the host's BLAS has other threads",
               cycle);
        expect(isProductRight(), "the host's BLAS is wrong", cycle);
        team.check(cycle);
        if (cycle == std::max(cycles / 4, 3)) {
            memory = heapKilobytes();
        }
    }
    const long growth = heapKilobytes() - memory;
    if (kMemoryIsJudged && growth > kMostGrowth) {
        std::fprintf(stderr, "the heap has grown by %ld KB\n", growth);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return argc != 4 ? wrongUsage("zomu_blas_host LIBRARY FOLDER CYCLES")
                     : runProgram("zomu_blas_host", 3, [&] {
                           return goThroughCycles(argv[1], argv[2], std::stoi(argv[3]));
                       });
}
