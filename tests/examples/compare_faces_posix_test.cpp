// The example program where its output finds no room.
#include <fstream>
#include <string>

#include "support/temporary_folder.h"
#include "tools/tool_run.h"
#include "zomu.h"

TEST(CompareFacesOutput, scoreThatCannotBeWrittenIsAFailure) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    const FaceTemplate face = {{3.0F}, 4.0F, 3.0F};
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(&face), sizeof face);
    expectResult(
        runTool("sh", {"-c", "\"$0\" \"$1\" \"$1\" > /dev/full", COMPARE_FACES_PATH, path}), 1, "",
        "compare_faces: standard output: the score could not be written\n");
}
