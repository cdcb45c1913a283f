#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

using namespace std::string_view_literals;

class TextTest : public HostTest {};

TEST_F(TextTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
#define BAD "\xEF\xBF\xBD"
    const std::pair<std::string_view, std::string_view> cases[] = {
        {""sv, ""sv},
        {"plain"sv, "plain"sv},
        {"a\0b"sv, "a\0b"sv},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv, "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv},
        {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF"sv, "\xEF\xBF\xBF\xF4\x8F\xBF\xBF"sv},  // the last ones
        {"\x80x"sv, BAD "x"sv},                                                // a continuation of nothing
        {"\xC3"sv, BAD ""sv},                                                  // cut off at the end
        {"\xE2\x82x"sv, BAD BAD "x"sv},  // cut off by the next character
        {"\xF0\x9F\x98"sv, BAD BAD BAD ""sv},
        {"\xC0\xAF\xC1\xBF"sv, BAD BAD BAD BAD ""sv},  // longer than need be
        {"\xE0\x9F\xBF\xF0\x8F\xBF\xBF"sv, BAD BAD BAD BAD BAD BAD BAD ""sv},
        {"\xED\xA0\x80\xED\x9F\xBF"sv, BAD BAD BAD "\xED\x9F\xBF"sv},  // a surrogate; the last before them
        {"\xF4\x90\x80\x80\xF5\xFF"sv, BAD BAD BAD BAD BAD BAD ""sv},  // beyond U+10FFFF
    };
#undef BAD
    for (const auto& [bytes, text] : cases) {
        const Result<String> result = String::FromCText(bytes);
        ASSERT_TRUE(IsOk(result));
        EXPECT_EQ(result.GetValue().GetView(), text);
        EXPECT_EQ(result.GetValue().GetChars()[text.size()], '\0');
    }
    EXPECT_TRUE(Table<StringInterface>()->Create(nullptr, 0).GetValue().IsEmpty());
}

TEST_F(TextTest, ATextForCHoldsNoNul) {
    EXPECT_EQ(CString::FromText("clFinish").GetValue().GetView(), "clFinish");
    EXPECT_TRUE(CString::FromText("").GetValue().IsEmpty());
    EXPECT_STREQ(CString().GetChars(), "");
    EXPECT_FALSE(CString::FromText("a\0b"sv).IsOk());
    EXPECT_FALSE(CString::FromText("a\0"sv).IsOk());
}

TEST_F(TextTest, TextsShareTheirBytesAndGiveThemBack) {
    const Int before = host::CountAllocations();
    {
        const String text = MakeText("shared");
        String copy;
        copy = text;
        EXPECT_EQ(copy.GetChars(), text.GetChars());
        EXPECT_TRUE(copy == MakeText("shared"));
        EXPECT_EQ(copy.GetHash(), MakeText("shared").GetHash());
        EXPECT_FALSE(copy == MakeText("Shared"));
        EXPECT_EQ(host::CountAllocations(), before + 1);
    }
    EXPECT_EQ(host::CountAllocations(), before);
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(String::FromCText("text")), "nuvra.OutOfMemoryErrorObject");
    EXPECT_EQ(ErrorClass(CString::FromText("text")), "nuvra.OutOfMemoryErrorObject");
    EXPECT_TRUE(IsOk(String::FromCText(""))) << "the empty text needs no memory";
    host.allocations.FailNone();
}

TEST_F(TextTest, MemoryComesAsTheServiceSays) {
    const Int before = host::CountAllocations();
    EXPECT_EQ(System::Allocate(0), nullptr);
    EXPECT_EQ(System::Allocate(-1), nullptr);
    EXPECT_EQ(System::Allocate(std::numeric_limits<Int>::max()), nullptr);
    auto* block = static_cast<char*>(System::Reallocate(nullptr, 16));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
    block[15] = 'x';
    EXPECT_EQ(System::Reallocate(block, 0), nullptr);
    host.allocations.FailFrom(0);
    EXPECT_EQ(System::Reallocate(block, 32), nullptr);
    EXPECT_EQ(block[15], 'x') << "a failure leaves the old block";
    block = static_cast<char*>(System::Reallocate(block, 1 << 20));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[15], 'x');
    System::Free(block);
    System::Free(nullptr);
    EXPECT_EQ(host::CountAllocations(), before);
}

}  // namespace
}  // namespace nuvra::test
