// The log folder of a run, compared before and after the run to name the
// files the run wrote.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "OutputFolder.h"

namespace scenariosim {
namespace {

namespace fs = std::filesystem;

TEST(SimFolderTest, ListsOnlyFilesNewOrChangedSinceTheSnapshot) {
    const fs::path folder =
        fs::temp_directory_path() / ("scenario-sim-folder-" + std::to_string(getpid()));
    fs::remove_all(folder);
    std::string error;
    EXPECT_TRUE(makeFolderChain((folder / "sub").string(), &error)) << error;
    const auto write = [&](const char* name, const char* text) {
        std::ofstream(folder / name, std::ios::app) << text;
    };
    write("old.txt", "old");
    write("grown.txt", "12");
    const FolderSnapshot before(folder.string());
    write("grown.txt", "345");
    write("new.txt", "abcd");
    write("sub/inner.txt", "ignored");

    std::string written;
    for (const WrittenFile& file : before.writtenSince()) {
        written += file.mName + " " + std::to_string(file.mSize) + "; ";
    }
    EXPECT_EQ(written, "grown.txt 5; new.txt 4; ");
    fs::remove_all(folder);
}

}  // namespace
}  // namespace scenariosim
