#include <filesystem>
#include <fstream>
#include <sstream>

#include "nuvra/diagnostic.h"
#include "nuvra/dll.h"
#include "nuvra/host/error_names.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

using HostErrorTest = HostTest;

TEST_F(HostErrorTest, AnErrorKnowsWhereItWasMade) {
    const ErrorRef error = NewError<WrongValueTypeErrorObject>("wrong");
    EXPECT_EQ(error.GetLocation().line, __LINE__ - 1);
    EXPECT_STREQ(error.GetLocation().file, "tests/unit/host/error_test.cpp");
    EXPECT_STREQ(error.GetClassId(), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(error.GetMessage().GetView(), "wrong");
    std::string file = std::string(200, 'd') + "/folder/file.cpp";
    const ErrorRef far = NewError<UnknownErrorObject>(nullptr, {file.c_str(), 1});
    file.assign("overwritten");
    EXPECT_STREQ(far.GetLocation().file, "folder/file.cpp") << "of a long path the end is what helps";
    EXPECT_TRUE(far.GetMessage().IsEmpty());
    EXPECT_STREQ(NewError<UnknownErrorObject>(nullptr, {nullptr, 0}).GetLocation().file, "");
}

TEST_F(HostErrorTest, CallsThroughEmptyReferencesAreErrorsOrEmptyValues) {
    EXPECT_EQ(ErrorClass(UrlRef().SetPath(String())), "nuvra.NullPointerErrorObject");
    EXPECT_EQ(ErrorClass(DllRef().FindSymbol(CString())), "nuvra.NullPointerErrorObject");
    EXPECT_TRUE(UrlRef().GetPath().IsEmpty());
    EXPECT_EQ(ErrorRef().GetClassId(), nullptr);
    EXPECT_EQ(ErrorRef().GetLocation().line, 0);
}

TEST_F(HostErrorTest, WithoutAnyMemoryThereIsStillAnError) {
    host.allocations.FailAll();
    const ErrorRef first = NewError<UnknownErrorObject>("first");
    const ErrorRef second = NewError<NullPointerErrorObject>("second");
    for (const ErrorRef& error : {first, second}) {
        ASSERT_TRUE(error);
        EXPECT_STREQ(error.GetClassId(), "nuvra.OutOfMemoryErrorObject");
        EXPECT_EQ(error.GetMessage().GetView(), "out of memory");
    }
    first.SetMessage(String());
    EXPECT_EQ(second.GetMessage().GetView(), "out of memory") << "they may be the same object";
    host.allocations.FailNone();
}

TEST_F(HostErrorTest, AnErrorWithoutItsTextKeepsItsClassAndOneWithoutAClassIsOutOfMemory) {
    host.allocations.FailFrom(1);
    const ErrorRef error = NewError<WrongValueTypeErrorObject>("the text");
    EXPECT_STREQ(error.GetClassId(), "nuvra.WrongValueTypeErrorObject");
    EXPECT_TRUE(error.GetMessage().IsEmpty());
    const ErrorRef none = Table<ErrorInterface>()->Create(nullptr, SourceLocation::Here(), nullptr);
    EXPECT_STREQ(none.GetClassId(), "nuvra.OutOfMemoryErrorObject");
}

TEST_F(HostErrorTest, EachAtInAFormatTakesTheNextArgument) {
    const std::tuple<const char*, std::vector<std::string_view>, const char*> cases[] = {
        {"@ and @", {"one", "two"}, "one and two"},
        {"@@", {"a", "b"}, "ab"},
        {"@ and @", {"one"}, "one and @"},
        {"none", {"dropped"}, "none"},
        {"@", {"a@b"}, "a@b"},
        {"", {}, ""},
        {nullptr, {"dropped"}, ""},
    };
    for (const auto& [format, arguments, text] : cases) {
        const Int count = static_cast<Int>(arguments.size());
        EXPECT_EQ(Table<Diagnostic>()->Format(format, arguments.data(), count).GetValue().GetView(), text);
        Table<Diagnostic>()->Write(format, arguments.data(), count);
        EXPECT_EQ(host.diagnostics.back(), text);
    }
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(Diagnostic::Format("text", {})), "nuvra.OutOfMemoryErrorObject");
    host.allocations.FailNone();
}

/// Other negative constants of the headers: build states, ends of lists and limits of numbers.
bool IsError(const std::string& name, const std::string& value) {
    if (name.rfind("CL_", 0) != 0 || value.size() < 2 || value[0] != '-' ||
        value.find_first_not_of("0123456789", 1) != std::string::npos)
        return false;
    for (const char* other : {"CL_BUILD_NONE", "CL_BUILD_ERROR", "CL_BUILD_IN_PROGRESS", "_LIST_END_",
                              "CL_FLT_", "CL_DBL_", "CL_HALF_"})
        if (name.find(other) != std::string::npos) return false;
    return true;
}

TEST(ErrorNamesTest, EveryErrorCodeOfTheHeadersHasAName) {
    int count = 0;
    for (const auto& header : std::filesystem::directory_iterator(OPENCL_HEADERS)) {
        std::ifstream file(header.path());
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            std::string directive;
            std::string macro;
            std::string value;
            words >> directive >> macro >> value;
            if (directive != "#define" || !IsError(macro, value)) continue;
            count++;
            const std::string_view name = host::FindErrorName(std::stoi(value));
            // Two vendors' codes were taken over by Khronos under new names.
            EXPECT_TRUE(name == macro || name.ends_with("_KHR")) << line;
        }
    }
    EXPECT_GT(count, 80);
    EXPECT_EQ(host::FindErrorName(-25), "");
    EXPECT_EQ(host::FindErrorName(7), "");
}

}  // namespace
}  // namespace nuvra::test
