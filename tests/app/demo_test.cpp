#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using UnixDemoTest = ProgramTest;
namespace fs = std::filesystem;

TEST_F(UnixDemoTest, APictureNeedsNoExtensionAndOutlivesTheDemoThatItCameFrom) {
    // The script works in the folder above its own, here one where nothing is to be installed or built.
    fs::create_directories("scripts");
    fs::copy_file(DEMO_SCRIPT, "scripts/demo");
    for (const char* step : {"scripts/setup", "scripts/build"}) {
        WriteFile(step, "#!/bin/sh\n");
        fs::permissions(step, fs::perms::owner_all);
    }
    fs::create_directories("build/apps/nuvra-cl");
    fs::create_symlink(PROGRAM_FILE, "build/apps/nuvra-cl/nuvra-cl");
    fs::create_directory("a.folder");
    WritePicture("picture.png", MakeTestPicture(OIIO::TypeDesc::UINT8, 20, 10, 3));
    fs::rename("picture.png", "a.folder/picture");
    const std::string bytes = ReadFile("a.folder/picture");
    const Outcome first = RunShell("scripts/demo a.folder/picture");
    ASSERT_EQ(first.status, 0) << first.err;
    fs::remove("out/sheet.png");

    // The copy of it, by the name of its checksum, is what the next demo is of.
    std::string copy;
    for (const auto& entry : fs::directory_iterator("out"))
        if (entry.path().filename().string().starts_with("crc32c.")) copy = entry.path().string();
    const Outcome again = RunShell("scripts/demo " + copy);
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_TRUE(ReadFile(copy) == bytes) << copy;
    EXPECT_TRUE(fs::exists("out/sheet.png"));
}

}  // namespace

}  // namespace nuvra::test
