// What a wrong count or a wrong path looks like. model_check_test.cpp has what good files hold.
#include "model/model_file_writer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/temporary_folder.h"
#include "support/thrown.h"

TEST(ModelFileWriter, namesWhatItCannotWrite) {
    const TemporaryFolder folder;
    const std::string absent = folder.prefix() + "absent/file";
    const ModelFile one = {"b", ModelFileKind::biases, 1, "fc", 1, 1};
    const ModelFile two = {"b", ModelFileKind::biases, 1, "fc", 1, 2};
    EXPECT_EQ(reasonOf([&] { writeModelFile(folder.path() / "file", two, {1.0F}); }),
              "b: 1 values for a file of 2");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "file"));
    EXPECT_EQ(reasonOf([&] { writeModelFile(absent, one, {1.0F}); }),
              absent + ": cannot be created: No such file or directory");
}
