#include "pictures.h"
#include "program.h"

namespace nuvra::test {
namespace {

using namespace std::string_literals;
using FailureTest = ProgramTest;
using UnixFailureTest = ProgramTest;

TEST_F(FailureTest, BadArgumentsAndBadInputGetOneLineAndNoFile) {
    WritePicture("in.png", MakeTestPicture(TypeDesc::UINT8, 20, 10, 4));
    WritePicture("other.png", MakeTestPicture(TypeDesc::UINT8, 21, 10, 4));
    for (const char* file : {"cut.png", "cut.jpg", "cut.bmp"}) {
        WritePicture(file, MakeTestPicture(TypeDesc::UINT8, 90, 80, 3));
        fs::resize_file(file, fs::file_size(file) * 2 / 3);
    }
    WriteFile("odd", "12345");
    WriteFile("empty", "");
    fs::create_directory("folder");
    // The PNG reader leaks its message, by which way only whole stacks tell a leak checker.
    const std::string stacks = "ASAN_OPTIONS=fast_unwind_on_malloc=0";
    ExpectRefusals({
        {"", 2, "no command was given"},
        {"nonsense", 2, "unknown command \"nonsense\" (see"},
        {"inver in.png out.png", 2, R"(unknown command "inver"; did you mean "invert"? (see)"},
        {"clera --help", 2, R"(unknown command "clera"; did you mean "clear"?)"},
        {"invert --rct 0,0,1,1 in.png", 2, R"(unknown option "--rct"; did you mean "--rect"?)"},
        {"--devise=0 devices", 2, R"(unknown option "--devise"; did you mean "--device"?)"},
        {"invert in.png out.png more", 2, "unexpected argument \"more\""},
        {"invert in.png out.png --rect 1,2,3", 2, "\"1,2,3\" is not a rectangle X,Y,W,H"},
        {"invert in.png out.png --rect 1,2,3,99999999999999999999", 2, "is not a rectangle"},
        {"invert in.png out.png --rect 0,0,5,0", 1, "the rectangle 0,0,5,0 is empty"},
        {"invert in.png out.png --rect -1,0,6,5", 1, "which has 20 x 10 pixels"},
        {"invert in.png out.png --rect 9223372036854775807,0,9223372036854775807,1", 1, "leaves"},
        {"invert missing.png out.png", 1, "cannot read \"missing.png\": No such file or directory"},
        {"invert cut.png out.png", 1, "cannot read \"cut.png\": it is ", stacks},
        {"invert cut.jpg out.png", 1, "cannot read \"cut.jpg\": it is ", stacks},
        {"invert cut.bmp out.png", 1, "cannot read \"cut.bmp\": it is ", stacks},
        {"chart out.png --device 0", 2, "chart works without a device"},
        {"chart out.png --size 0x5", 2, "a chart has from 1 to 65536 pixels"},
        {"devices --device ''", 2, "--device: it is empty"},
        {"devices --module odd", 1, "cannot load the module library odd"},
        {"clear '' --size 2G", 2, "OUT is an empty name"},
        {"clear out --size -5", 2, "\"-5\" is not a number of bytes"},
        {"clear out --size 12Q", 2, "\"12Q\" is not a number of bytes"},
        {"clear out --size 8589934592G", 2, "is not a number of bytes"},
        {"clear out --size 0", 2, "a buffer has at least one byte"},
        {"clear out --size 20 --buffer-size 10", 2, "--size 20 is more than the buffer's 10"},
        {"gamma in.png out.png", 2, "--gamma is required"},
        {"gamma in.png out.png --gamma nan", 2, "--gamma needs a finite number"},
        {"scale in.png out.png", 2, "give --size or --factor"},
        {"scale in.png out.png --size 0x0", 2, "--size needs sides above 0"},
        {"scale in.png out.png --size 99999999x1", 2, "too large"},
        {"scale in.png out.png --factor -1", 2, "--factor needs a number above 0"},
        {"scale in.png out.png --factor 1 --src 15,0,6,5", 1, "leaves \"in.png\""},
        {"scale in.png out.png --factor 1 --dst 15,0,6,5", 1, "leaves \"out.png\""},
        {"scale in.png out.png --size 5x5 --dst 4,0,-5,5 --mirror x", 2, "--mirror excludes"},
        {"scale in.png out.png --size 30x13 --tile 15", 1, "its images have sides of at most 15"},
        {"stereo in.png other.png out.png", 1, R"("in.png" has 20 x 10 pixels, "other.png" has 21 x 10)"},
        {"prefixsum in.png out --total --trace -", 2, "where prefixsum prints its result"},
        {"prefixsum odd out", 1, "5 bytes are no whole number of 32-bit values"},
        {"prefixsum empty out", 1, "cannot read \"empty\": it is empty"},
        {"crc32c", 2, "give either files or --check"},
        {"crc32c --piece 0 in.png", 2, "--piece needs 1 to 2147483647 bytes"},
        {"crc32c --check folder", 1, "cannot read \"folder\": "},
        {"crc32c --check odd", 1, "line 1 of \"odd\" is no checksum"},
    });
}

TEST_F(UnixFailureTest, FilesAndRuntimesThatFailGetOneLineAndNoFile) {
    WritePicture("in.png", MakeTestPicture(TypeDesc::UINT8, 200, 100, 4));
    TestPicture channels = MakeTestPicture(TypeDesc::HALF, 9, 8, 9);
    channels.spec.channelnames = {"R", "G", "B", "A", "S", "T", "U", "V", "W"};
    WritePicture("nine.exr", channels);
    channels.spec.channelnames[4] = std::string(600, 'x');
    WritePicture("long.exr", channels);
    WriteFile("text.png", "no picture\n");
    fs::create_directory("folder");
    fs::create_symlink("loop", "loop");
    RunShell("mkfifo pipe.png");
    ExpectRefusals({
        {"invert folder out.png", 1, "cannot read \"folder\": it is a folder"},
        {"invert text.png out.png", 1, "cannot read \"text.png\": it is no picture"},
        {"invert pipe.png out.png", 1, "\"pipe.png\": it is a pipe; pictures are read from files"},
        {"invert nine.exr out.exr", 1, R"(on "nine.exr": it has 9 channels (R, G, B, A, S, T, U, V, ...))"},
        {"invert long.exr out.exr", 1, "and only three colours and alpha can be worked on"},
        {"invert in.png no/out.png", 1, "cannot write \"no/out.png\": No such file or directory"},
        {"invert in.png folder", 1, "cannot write \"folder\": it is a folder"},
        {"clear loop --size 1", 1, "cannot write \"loop\": Too many levels of symbolic links"},
        {"invert in.png out.xyz", 1, "no picture format that can be written is called \"xyz\""},
        {"invert in.png out.jpg", 1, "the format jpeg cannot hold a picture of 4 channels"},
        {"invert in.png out.webp", 1, "the format's writer divides colours by alpha"},
        {"chart out.null", 1, "can be written is called \"null\""},
        {"chart out.jpg --size 65501x1", 1, "jpeg holds sides of at most 65500 pixels"},
        {"chart out.fits --size 300x1", 1, "of 300 x 1 pixels and 4 channels: its reader sees "},
        {"scale in.png out.png --size 1000x1000 --max-memory 3M", 1,
         "cannot make \"out.png\": its 1000 x 1000 pixels need 3.8 MiB of memory, and the limit is 3.0 MiB"},
        {"stereo in.png in.png out.png --max-memory 99", 1, "the limit is 99 bytes"},
        {"clear out --size 1", 1, "\"" SCRIPTED_RUNTIME "\" gives no platform (there are none)",
         "FAKE_PLATFORMS="},
        {"devices", 1,
         "cannot use the OpenCL runtime \"/nonexistent\": ", "NUVRA_OPENCL_RUNTIME=/nonexistent"},
        {"devices", 1, "\"Platform 1\": a device gives a version that cannot be read",
         "'FAKE_DRIVER=Oclgrind 21.10'"},
    });
    for (const auto& [failure, message] : {
             std::pair("clGetPlatformIDs=-6", "cannot list the OpenCL platforms: CL_OUT_OF_HOST_MEMORY (-6)"),
             {"clGetDeviceIDs=-1", "no OpenCL device was found (\"Platform 1\": CL_DEVICE_NOT_FOUND (-1))"},
             {"clCreateKernel=-46", R"(the task "image.invert" on "One": CL_INVALID_KERNEL_NAME (-46))"},
             // Smaller and smaller images are tried before this is said.
             {"clCreateImage2D=-4", "50 x 50 pixels on \"One\": CL_MEM_OBJECT_ALLOCATION_FAILURE (-4)"},
             {"clCreateImage2D=-10", "200 x 100 pixels on \"One\": CL_IMAGE_FORMAT_NOT_SUPPORTED (-10)"},
             {"clEnqueueWriteImage=-5", "send the picture to an image on \"One\": CL_OUT_OF_RESOURCES (-5)"},
             {"clEnqueueNDRangeKernel=-9999",
              R"(run the task "image.invert" on "One": OpenCL error (-9999))"},
             {"clEnqueueReadImage=-36", "the result back from an image on \"One\": CL_INVALID_COMMAND_QUEUE"},
         })
        ExpectRefusals({{"invert in.png out.png", 1, message, "FAKE_FAIL="s + failure}});
}

TEST_F(UnixFailureTest, WhatAFileClaimsIsBounded) {
    struct Case {
        const char* file;
        std::string bytes;
        const char* message = "its 60000 x 60000 pixels need ";
        const char* options = "";
    };
    const Case cases[] = {
        {"a.gif", "GIF89a\x60\xEA\x60\xEA\0\0\0"s},
        {"a.jpg", "\xFF\xD8\xFF\xC2\0\x0B\x08\xEA\x60\xEA\x60\1\1\x11\0\xFF\xDA\0\x08\1\1\0\0\0\0"s},
        {"a.webp", "RIFF\x16\0\0\0WEBPVP8X\x0A\0\0\0\0\0\0\0\x5F\xEA\0\x5F\xEA\0"s},
        {"a.heic",
         "\0\0\0\x18"
         "ftypheic\0\0\0\0heicmif1\0\0\0\x20meta\0\0\0\0\0\0\0\x14ispe\0\0\0\0\0\0\xEA\x60\0\0\xEA\x60"s},
        {"a.j2k", "\xFF\x4F\xFF\x51\0\x2F\0\0\0\0\xEA\x60\0\0\xEA\x60"s + std::string(24, '\0') + "\0\3"s},
        {"a.pgm", "P5 20000 20000 255\n", "381.5 MiB of memory, and the limit is 300.0 MiB",
         "--max-memory 300M"},
        {"a.pgm", "P5 20000 60000 255\n",
         "1.1 GiB of memory, and the limit for a file of 19 bytes is 384.6 MiB"},
        {"a.pgm", "P5 20000 60000 255\n", "it is damaged or cut short", "--max-memory 2G"},
        {"a.sgi", "\x01\xDA\0\xC8\0\3\0\x0A\0\x0A\0\3"s + std::string(900, '\0'),
         "cannot read \"a.sgi\" of 912 bytes: it is damaged or needs more memory than there is"},
        {"a.dds", "DDS \x7C"s + std::string(200, '\0'), "its pixels have no bits"},
        {"a.dpx", "SDPX" + std::string(28, '\0') + "\x80\0\0\0"s, "it claims more user data"},
        {"a.null", "", "it is no picture"},
    };
    for (const auto& [file, bytes, message, options] : cases) {
        WriteFile(file, bytes);
        ExpectRefusals({{"invert "s + file + " out.png " + options, 1, message}});
    }
}

TEST_F(UnixFailureTest, WithoutAPlatformThePersonLearnsWhatIsWrongOrWhatToInstall) {
    const std::string vendors = fs::absolute("vendors").string();
    const std::string installed = "NUVRA_OPENCL_RUNTIME= OCL_ICD_VENDORS=" + vendors;
    fs::create_directory(vendors);
    ExpectRefusals({{"devices", 1,
                     "no OpenCL runtime is installed (CL_PLATFORM_NOT_FOUND_KHR (-1001)); Debian's packages "
                     "ocl-icd-libopencl1 and pocl-opencl-icd give one",
                     installed}});
    WriteFile("vendors/a.icd", "/nonexistent.so\n");
    WriteFile("vendors/b.icd", SCRIPTED_RUNTIME);
    const std::string missing = "no OpenCL driver gives a platform: \"" + vendors +
                                "/a.icd\": /nonexistent.so: cannot open shared object file: No such file or "
                                "directory; \"";
    ExpectRefusals({{"devices", 1, missing + vendors + "/b.icd\": it is no OpenCL driver", installed},
                    // One that ends whatever opens it: the loader does not, since it knows of none.
                    {"devices", 1, missing + SCRIPTED_RUNTIME "\": opening it ends the program: Aborted",
                     installed + "/a.icd FAKE_END=load OCL_ICD_FILENAMES=" SCRIPTED_RUNTIME}});
}

TEST_F(UnixFailureTest, AnExampleTellsWhatAMachineLacksInASentence) {
    // By the name that the module asks for.
    fs::create_symlink(SCRIPTED_RUNTIME, "libOpenCL.so.1");
    // The example, the machine, the status, and how what it says begins.
    const std::tuple<std::string, std::string, int, const char*> cases[] = {
        {"list_devices", "PLATFORMS=", 1, "list_devices: there is no OpenCL platform"},
        {"invert_image", "FAIL=clGetPlatformIDs=-1001", 1, "invert_image: there is no OpenCL platform"},
        {"invert_image", "FAIL=clGetPlatformIDs=-9999", 1, "invert_image: OpenCL code -9999"},
        {"fill_buffer", "PLATFORMS=';;'", 1, "fill_buffer: no OpenCL platform has a device"},
        {"fill_buffer", "PLATFORMS=';One'", 0, "On One\n"},
        {"list_devices", "PLATFORMS=';One'", 0,
         "Platform 1:\n  no devices: CL_DEVICE_NOT_FOUND\nPlatform 2:\n  One\n"},
    };
    for (const auto& [example, machine, status, words] : cases) {
        const Outcome outcome =
            RunShell("LD_LIBRARY_PATH=. FAKE_" + machine + " " EXAMPLES + example + " " MODULE_FILE);
        EXPECT_EQ(outcome.status, status) << example << ' ' << machine;
        EXPECT_TRUE((status == 0 ? outcome.out : outcome.err).starts_with(words))
            << outcome.out << outcome.err;
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), status) << outcome.err;
    }
}

}  // namespace
}  // namespace nuvra::test
