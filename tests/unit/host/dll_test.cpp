#include "nuvra/dll.h"
#include "dynamic_library.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

Result<DllRef> Load(const std::string& path, bool searchSystem = true) {
    NUVRA_ASSIGN_OR_RETURN(const UrlRef url, UrlRef::Create());
    NUVRA_RETURN_IF_ERROR(url.SetScheme("relative"));
    NUVRA_ASSIGN_OR_RETURN(const String text, String::FromCText(path));
    NUVRA_RETURN_IF_ERROR(url.SetPath(text));
    return DllRef::Load(url, searchSystem);
}

Result<void*> Find(const DllRef& library, const char* name) {
    return library.FindSymbol(CString::FromText(name).GetValue());
}

const std::string kFile = ZooFile("runtime");
constexpr const char* kSymbol = "g_somethingElse";

void ExpectSays(const std::string& message, const std::string& words) {
    EXPECT_NE(message.find(words), std::string::npos) << message;
}

class DllTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(IsOk(host.Start())); }

    TestHost host{{{"libsomething.so.1", kFile}, {"libabsent.so.1", "/nowhere/at all"}}};
};

TEST_F(DllTest, ALibraryIsOpenUntilNobodyHasItOrItIsFreed) {
    const Int before = host::CountAllocations();
    for (const bool isFreed : {false, true}) {
        DllRef library = Load(kFile).GetValue();
        ASSERT_TRUE(library);
        EXPECT_NE(Find(library, kSymbol).GetValue(), nullptr);
        const std::string missing = ErrorText(Find(library, "clNothing"));
        for (const std::string& words : {std::string("\"clNothing\""), kFile, WordsForNoSymbol()})
            ExpectSays(missing, words);
        EXPECT_TRUE(IsLoaded(kFile));
        if (isFreed) {
            EXPECT_TRUE(IsOk(library.Free()));
            ExpectSays(ErrorText(Find(library, kSymbol)), "closed");
            ExpectSays(ErrorText(library.Free()), "closed");
        } else {
            library = nullptr;
        }
        EXPECT_EQ(IsLoaded(kFile), host::kRuntimesStayResident);
    }
    EXPECT_EQ(host::CountAllocations(), before);
}

TEST_F(DllTest, ARedirectedNameOpensTheOtherFile) {
    EXPECT_TRUE(IsOk(Find(Load("libsomething.so.1").GetValue(), kSymbol)));
    ExpectSays(ErrorText(Load("libabsent.so.1")), "/nowhere/at all");
    ExpectSays(ErrorText(Load("libabsent.so.1")), "libabsent.so.1");
}

TEST_F(DllTest, OnlyANameWithAFolderIsTakenFromTheCurrentOne) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(ZOO_FOLDER);
    const std::string name = std::filesystem::path(kFile).filename().string();
    EXPECT_FALSE(Load(name).IsOk());
    EXPECT_TRUE(IsOk(Load("./" + name)));
    EXPECT_TRUE(IsOk(Load(name, false)));
    std::filesystem::current_path(before);
}

TEST_F(DllTest, WhatCannotBeOpenedIsNamedWithTheReason) {
    ExpectSays(ErrorText(Load("libnobodyhas.so.7")), "cannot open the library \"libnobodyhas.so.7\"");
    ExpectSays(ErrorText(Load("libnobodyhas.so.7")), WordsForNoFile());
    ExpectSays(ErrorText(Load(ZOO_SOURCES "no_library.txt")), WordsForNoLibrary());
    EXPECT_FALSE(Load("").IsOk());
    EXPECT_EQ(ErrorClass(DllRef::Load(UrlRef(), true)), "nuvra.NullPointerErrorObject");
    EXPECT_TRUE(IsOk(Load(kSystemLibrary)));
    EXPECT_FALSE(Load(kSystemLibrary, false).IsOk()) << "it is not in this folder";
}

TEST_F(DllTest, EveryAllocationMayFail) {
    const Int before = host::CountAllocations();
    for (const int failing : {0, 1, 2, 3}) {  // the URL, its scheme, its path, the library object
        host.allocations.FailFrom(failing);
        EXPECT_EQ(ErrorClass(Load("libsomething.so.1")), "nuvra.OutOfMemoryErrorObject") << failing;
    }
    host.allocations.FailFrom(4);
    EXPECT_TRUE(IsOk(Load("libsomething.so.1")));
    EXPECT_EQ(host::CountAllocations(), before);
}

}  // namespace
}  // namespace nuvra::test
