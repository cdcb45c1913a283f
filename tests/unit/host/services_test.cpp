#include <filesystem>
#include <fstream>
#include <regex>

#include "nuvra/diagnostic.h"
#include "nuvra/dll.h"
#include "nuvra/host/error_names.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

using namespace std::string_literals;

TEST_F(HostTest, AnErrorKnowsWhereItWasMade) {
    const ErrorRef error = NewError<WrongValueTypeErrorObject>("wrong");
    EXPECT_EQ(error.GetLocation().line, __LINE__ - 1);
    EXPECT_STREQ(error.GetLocation().file, "tests/unit/host/services_test.cpp");
    EXPECT_STREQ(error.GetClassId(), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(error.GetMessage().GetView(), "wrong");
    std::string file = std::string(200, 'd') + "/folder/file.cpp";
    const ErrorRef far = NewError<UnknownErrorObject>(nullptr, {file.c_str(), 1});
    file.assign("overwritten");
    EXPECT_STREQ(far.GetLocation().file, "folder/file.cpp") << "of a long path the end is what helps";
    EXPECT_TRUE(far.GetMessage().IsEmpty());
    EXPECT_STREQ(NewError<UnknownErrorObject>(nullptr, {nullptr, 0}).GetLocation().file, "");
    EXPECT_EQ(ErrorRef().GetLocation().line, 0);
}

TEST_F(HostTest, WithoutMemoryThereIsStillAnError) {
    host.allocations.FailFrom(1);
    const ErrorRef withoutText = NewError<WrongValueTypeErrorObject>("the text");
    EXPECT_STREQ(withoutText.GetClassId(), "nuvra.WrongValueTypeErrorObject");
    EXPECT_TRUE(withoutText.GetMessage().IsEmpty());
    const ErrorRef none = Table<ErrorInterface>()->Create(nullptr, SourceLocation::Here(), nullptr);
    EXPECT_STREQ(none.GetClassId(), "nuvra.OutOfMemoryErrorObject");
    host.allocations.FailAll();
    const ErrorRef first = NewError<UnknownErrorObject>("first");
    first.SetMessage(String());  // it may be the same object as the next
    for (const ErrorRef& error :
         {first, NewError<NullPointerErrorObject>("second"), Diagnostic::Format("text", {}).GetError()}) {
        ASSERT_TRUE(error);
        EXPECT_STREQ(error.GetClassId(), "nuvra.OutOfMemoryErrorObject");
        EXPECT_EQ(error.GetMessage().GetView(), "out of memory");
    }
}

TEST_F(HostTest, EachAtInAFormatTakesTheNextArgument) {
    const std::tuple<const char*, std::vector<std::string_view>, const char*> cases[] = {
        {"@ and @", {"one", "two"}, "one and two"},
        {"@ and @", {"one"}, "one and @"},
        {"none", {"dropped"}, "none"},
        {"@", {"a@b"}, "a@b"},
        {nullptr, {"dropped"}, ""},
    };
    for (const auto& [format, arguments, text] : cases) {
        const Int count = static_cast<Int>(arguments.size());
        EXPECT_EQ(Table<Diagnostic>()->Format(format, arguments.data(), count).GetValue().GetView(), text);
        Table<Diagnostic>()->Write(format, arguments.data(), count);
        EXPECT_EQ(host.diagnostics.back(), text);
    }
}

TEST(ErrorNamesTest, EveryErrorCodeOfTheHeadersHasAName) {
    const std::regex code("#define (CL_\\S+)\\s+(-[0-9]+)\\b.*");
    // Build states, ends of lists and limits of numbers.
    const std::regex other("CL_BUILD_(NONE|ERROR|IN_PROGRESS)|.*_LIST_END_.*|CL_(FLT|DBL|HALF)_.*");
    int count = 0;
    for (const auto& header : std::filesystem::directory_iterator(OPENCL_HEADERS)) {
        std::ifstream file(header.path());
        std::smatch parts;
        for (std::string line; std::getline(file, line);) {
            if (!std::regex_match(line, parts, code) || std::regex_match(parts[1].str(), other)) continue;
            count++;
            const std::string_view name = host::FindErrorName(std::stoi(parts[2]));
            // Two vendors' codes were taken over by Khronos under new names.
            EXPECT_TRUE(name == parts[1].str() || name.ends_with("_KHR")) << line;
        }
    }
    EXPECT_GT(count, 80);
    EXPECT_EQ(host::FindErrorName(-25), "");
}

const std::string kFile = ZooFile("runtime");
constexpr const char* kSymbol = "g_privateModules";

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

TEST_F(HostTest, ALibraryIsOpenUntilNobodyHasItOrItIsFreed) {
    for (const bool isFreed : {false, true}) {
        DllRef library = Load(kFile).GetValue();
        EXPECT_NE(Find(library, kSymbol).GetValue(), nullptr);
        EXPECT_EQ(TakeList(kFile), !isFreed || !host::kRuntimesStayResident);
        std::string reason;
        host::DynamicLibrary::Open(kFile, host::LibraryUse::RUNTIME, reason).Find("clNothing", reason);
        EXPECT_NE(reason, "");
        EXPECT_EQ(ErrorText(Find(library, "clNothing")),
                  "the library \"" + kFile + "\" has no \"clNothing\": " + reason);
        if (!isFreed) continue;
        EXPECT_TRUE(IsOk(library.Free()));
        ExpectWords(ErrorText(Find(library, kSymbol)), {"closed", kFile});
        ExpectWords(ErrorText(library.Free()), {"closed", kFile});
        EXPECT_EQ(TakeList(kFile), !host::kRuntimesStayResident);
    }
}

TEST_F(HostTest, WhatCannotBeOpenedIsNamedWithTheReasonAndLeavesNothing) {
    for (const int failing : {0, 1, 2, 3}) {  // the URL, its scheme, its path, the library object
        host.allocations.FailFrom(failing);
        EXPECT_EQ(ErrorClass(Load("libsomething.so.1")), "nuvra.OutOfMemoryErrorObject") << failing;
    }
    host.allocations.FailNone();
    EXPECT_TRUE(IsOk(Find(Load("libsomething.so.1").GetValue(), kSymbol))) << "which is another file";
    const std::string text = ZOO_SOURCES "zoo.h";
    for (const auto& [asked, title, file] :
         {std::tuple("libabsent.so.1"s, "\"/nowhere/at all\" in place of \"libabsent.so.1\""s,
                     "/nowhere/at all"s),
          {"libnobodyhas.so.7", "\"libnobodyhas.so.7\"", "libnobodyhas.so.7"},
          {text, '"' + text + '"', text}})
        EXPECT_EQ(ErrorText(Load(asked)), "cannot open the library " + title + ": " + ReasonFor(file));
    EXPECT_NE(ReasonFor("libnobodyhas.so.7"), ReasonFor(text));
    ExpectWords(ErrorText(Load("")), {"a library without a name"});
    EXPECT_EQ(ErrorClass(DllRef::Load(UrlRef(), true)), "nuvra.NullPointerErrorObject");
}

TEST_F(HostTest, OnlyANameWithAFolderIsTakenFromTheCurrentOne) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(ZOO_FOLDER);
    const std::string name = std::filesystem::path(kFile).filename().string();
    EXPECT_FALSE(Load(name).IsOk());
    EXPECT_TRUE(IsOk(Load("./" + name)));
    EXPECT_TRUE(IsOk(Load(name, false)));
    EXPECT_TRUE(IsOk(Load(SYSTEM_LIBRARY)));
    EXPECT_FALSE(Load(SYSTEM_LIBRARY, false).IsOk()) << "it is not in this folder";
    std::filesystem::current_path(before);
}

}  // namespace
}  // namespace nuvra::test
