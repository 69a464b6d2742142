"""Sources with fixed float arithmetic refuse to be built in a way that changes their bits."""

import os
import pathlib
import subprocess
import unittest

PROJECT = pathlib.Path(os.environ.get("ZOMU_TEST_PROJECT", pathlib.Path(__file__).parents[2]))
COMPILER = os.environ.get("ZOMU_TEST_COMPILER", "c++")
AS_WRITTEN = ["-ffp-contract=off", "-DZOMU_FLOATS_AS_WRITTEN"]


def compile_with(*flags):
    return subprocess.run([COMPILER, "-std=c++20", "-O2", "-fsyntax-only", f"-I{PROJECT}/src", *flags, "-x", "c++", "-"],
                          input='#include "matrix/float_rules.h"\n', capture_output=True, text=True, check=False)


def configure_with(*settings):
    return subprocess.run(["cmake", *settings, "-P", PROJECT / "cmake" / "ZomuTargets.cmake"],
                          capture_output=True, text=True, check=False)


class FloatRules(unittest.TestCase):
    def testTheirHeaderCompilesAsTheProjectIsBuiltAndElseSaysWhatIsWrong(self):
        result = compile_with(*AS_WRITTEN)
        self.assertEqual(result.returncode, 0, result.stderr)
        for flags, words in (
            ([], "-fno-lto"),
            (["-ffp-contract=off"], "ZOMU_FLOATS_AS_WRITTEN"),
            ([*AS_WRITTEN, "-ffast" + "-math"], "fast-math changes results"),
            ([*AS_WRITTEN, "-D_M_FP_FAST"], "fast-math changes results"),
            ([*AS_WRITTEN, "-D_M_FP_CONTRACT"], "rounds once"),
        ):
            with self.subTest(flags=flags):
                result = compile_with(*flags)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(words, result.stderr)

    def testConfiguringRefusesFlagsThatChangeBitsAndTakesOrdinaryOnes(self):
        lto, floats = "Link-time optimisation", "Contraction and fast-math"
        for setting, words in (
            ("-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON", lto),
            ("-DCMAKE_CXX_FLAGS=-O3 -flto", lto),
            ("-DCMAKE_CXX_FLAGS=-flto=auto", lto),
            ("-DCMAKE_SHARED_LINKER_FLAGS=-flto", lto),
            ("-DCMAKE_CXX_FLAGS=/O2 /GL", lto),
            ("-DCMAKE_CXX_FLAGS=-march=native -ffp-contract" + "=fast", floats),
            ("-DCMAKE_CXX_FLAGS=-O" + "fast", floats),
            ("-DCMAKE_CXX_FLAGS=/fp:" + "fast", floats),
        ):
            with self.subTest(setting=setting):
                result = configure_with(setting)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(words, result.stderr)
        for flags in ("", "-O3 -march=native", "-ffp-contract=off -fno-lto", "/O2 /fp:precise"):
            with self.subTest(flags=flags):
                self.assertEqual(configure_with(f"-DCMAKE_CXX_FLAGS={flags}").returncode, 0)


if __name__ == "__main__":
    unittest.main()
