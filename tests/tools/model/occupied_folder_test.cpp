// What a model may take the place of.
#include "model/occupied_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/temporary_folder.h"
#include "support/thrown.h"

TEST(OccupiedFolder, onlyFreePlacesAndModelsMayBeTaken) {
    const TemporaryFolder parent;
    const std::filesystem::path model = parent.path() / "model";
    const std::filesystem::path mixed = parent.path() / "mixed";
    for (const std::filesystem::path& folder : {model, mixed, parent.path() / "empty"}) {
        std::filesystem::create_directory(folder);
    }
    std::ofstream(model / "6-1") << "x";
    std::ofstream(mixed / "6-1") << "x";
    std::ofstream(mixed / "letter") << "x";
    const struct {
        std::filesystem::path folder;
        bool replace;
        std::string reason;
    } places[] = {
        {"", false, "the name of the folder is empty"},
        {parent.path() / "absent", false, ""},
        {parent.path() / "empty", false, ""},
        {model, false, model.string() + " is not empty"},
        {model, true, ""},
        {mixed, true,
         mixed.string() + " holds letter, which is not a model file: it is not replaced"},
        {mixed / "letter", false,
         (mixed / "letter").string() + " already exists and is not a folder"},
        {mixed / "letter", true,
         (mixed / "letter").string() + " already exists and is not a folder"},
    };
    for (const auto& [folder, replace, reason] : places) {
        EXPECT_EQ(
            reasonOf([&folder = folder, &replace = replace] { refuseOccupied(folder, replace); }),
            reason);
    }
}
