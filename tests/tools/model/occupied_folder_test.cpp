// What a model may take the place of.
#include "model/occupied_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

TEST(OccupiedFolder, onlyFreePlacesAndModelsMayBeTaken) {
    const TemporaryFolder parent;
    const fs::path model = parent.path() / "model";
    const fs::path mixed = parent.path() / "mixed";
    const fs::path letter = mixed / "letter";
    for (const fs::path& folder : {model, mixed, parent.path() / "empty"}) {
        fs::create_directory(folder);
    }
    for (const fs::path& file : {model / "6-1", mixed / "6-1", letter}) {
        std::ofstream(file) << "x";
    }
    const std::string notAFolder = letter.string() + " already exists and is not a folder";
    const std::tuple<fs::path, bool, std::string> places[] = {
        {"", false, "the name of the folder is empty"},
        {parent.path() / "absent", false, ""},
        {parent.path() / "empty", false, ""},
        {model, false, model.string() + " is not empty"},
        {model, true, ""},
        {mixed, true,
         mixed.string() + " holds letter, which is not a model file: it is not replaced"},
        {letter, false, notAFolder},
        {letter, true, notAFolder},
    };
    for (const auto& place : places) {
        EXPECT_EQ(reasonOf([&] { refuseOccupied(std::get<0>(place), std::get<1>(place)); }),
                  std::get<2>(place));
    }
}
