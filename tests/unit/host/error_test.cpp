#include "nuvra/diagnostic.h"
#include "nuvra/dll.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

class HostErrorTest : public HostTest {};

TEST_F(HostErrorTest, AnErrorKnowsWhereItWasMade) {
    const ErrorRef error = NewError<WrongValueTypeErrorObject>("wrong");
    const Int32 line = __LINE__ - 1;
    EXPECT_EQ(error.GetLocation().line, line);
    EXPECT_STREQ(error.GetLocation().file, "tests/unit/host/error_test.cpp");
    EXPECT_STREQ(error.GetClassId(), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(error.GetMessage().GetView(), "wrong");
}

TEST_F(HostErrorTest, TheFileNameIsTheErrorsOwn) {
    std::string file = "gone.cpp";
    const ErrorRef error = NewError<UnknownErrorObject>(nullptr, {file.c_str(), 1});
    file.assign("overwritten");
    EXPECT_STREQ(error.GetLocation().file, "gone.cpp");
    EXPECT_TRUE(error.GetMessage().IsEmpty());

    const std::string deep = std::string(200, 'd') + "/folder/file.cpp";
    const ErrorRef far = NewError<UnknownErrorObject>(nullptr, {deep.c_str(), 1});
    EXPECT_STREQ(far.GetLocation().file, "folder/file.cpp") << "of a long path the end is what helps";
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

TEST_F(HostErrorTest, AnErrorWhoseTextFoundNoMemoryKeepsItsClass) {
    host.allocations.FailFrom(1);
    const ErrorRef error = NewError<WrongValueTypeErrorObject>("the text");
    EXPECT_STREQ(error.GetClassId(), "nuvra.WrongValueTypeErrorObject");
    EXPECT_TRUE(error.GetMessage().IsEmpty());
}

TEST_F(HostErrorTest, AClassThatIsNoErrorsMakesTheOutOfMemoryError) {
    const ErrorRef error = Table<ErrorInterface>()->Create(nullptr, SourceLocation::Here(), nullptr);
    EXPECT_STREQ(error.GetClassId(), "nuvra.OutOfMemoryErrorObject");
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

}  // namespace
}  // namespace nuvra::test
