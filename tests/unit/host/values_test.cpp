#include <algorithm>
#include <set>

#include "nuvra/data.h"
#include "nuvra/hash_map.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

using namespace std::string_view_literals;
constexpr const char* kOutOfMemory = "nuvra.OutOfMemoryErrorObject";

/// Expects that a test gives back what it takes.
class ValuesTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        _before = host::CountAllocations();
    }
    void TearDown() override {
        host.allocations.FailNone();
        EXPECT_EQ(host::CountAllocations(), _before) << "blocks are left";
    }

private:
    Int _before = 0;
};
using ContainerTest = ValuesTest;
using DataTest = ValuesTest;
using TextTest = ValuesTest;

template <class T>
std::vector<T> Items(const BaseArray<T>& array) {
    return {array.begin(), array.end()};
}

TEST_F(ContainerTest, AnArrayGrowsAndShrinksInOrder) {
    BaseArray<Int> array;
    EXPECT_EQ(array.GetFirst(), nullptr);
    std::vector<Int> expected;
    for (Int i = 0; i < 1000; i++) {
        ASSERT_TRUE(IsOk(array.Append(i * 7)));
        expected.push_back(i * 7);
    }
    EXPECT_EQ(Items(array), expected);
    for (const Int index : {0, 998, 500}) {
        array.Erase(index);
        expected.erase(expected.begin() + index);
    }
    EXPECT_EQ(Items(array), expected);
    ASSERT_TRUE(IsOk(array.Resize(2)));
    ASSERT_TRUE(IsOk(array.Resize(4)));
    EXPECT_EQ(Items(array), (std::vector<Int>{7, 14, 0, 0})) << "new elements are zero, not what was there";
    BaseArray<Int> moved = std::move(array);
    EXPECT_EQ(moved.GetCount(), 4);
    moved.Reset();
    EXPECT_TRUE(moved.IsEmpty());
}

TEST_F(ContainerTest, AnArrayThatCannotGrowIsAsItWas) {
    const Int huge = std::numeric_limits<Int>::max();
    BaseArray<Int> array;
    for (Int i = 0; i < 8; i++) ASSERT_TRUE(IsOk(array.Append(i)));
    const std::vector<Int> before = Items(array);
    for (const Int count : {Int{-1}, std::numeric_limits<Int>::min(), huge, huge / 8 + 1, huge / 8})
        EXPECT_EQ(ErrorClass(array.Resize(count)), kOutOfMemory) << count;
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(array.Append(8)), kOutOfMemory);
    EXPECT_EQ(ErrorClass(array.Resize(9)), kOutOfMemory);
    host.allocations.FailNone();
    EXPECT_EQ(Items(array), before);
    EXPECT_TRUE(IsOk(array.Append(8)));
}

TEST_F(ContainerTest, AnArrayIsCopiedAsAWholeOrNotAtAll) {
    BaseArray<String> from;
    BaseArray<String> to;
    for (const char* text : {"a", "b", "c"}) ASSERT_TRUE(IsOk(from.Append(MakeText(text))));
    ASSERT_TRUE(IsOk(to.Append(MakeText("old"))));
    host.allocations.FailFrom(0);
    EXPECT_EQ(ErrorClass(to.CopyFrom(from)), kOutOfMemory);
    EXPECT_EQ(Items(to), std::vector{MakeText("old")});
    ASSERT_TRUE(IsOk(to.CopyFrom(from)));
    EXPECT_EQ(Items(to), Items(from));
    ASSERT_TRUE(IsOk(to.CopyFrom(BaseArray<String>())));
    EXPECT_TRUE(to.IsEmpty());
}

TEST_F(ContainerTest, AMapKeepsEveryEntryAtItsAddress) {
    HashMap<String, Int> map;
    std::vector<HashMap<String, Int>::Entry*> entries;
    for (const bool isNew : {true, false}) {
        for (size_t i = 0; i < 500; i++) {
            const auto insertion = map.FindOrInsert(MakeText(std::to_string(i)));
            ASSERT_TRUE(IsOk(insertion));
            EXPECT_EQ(insertion.GetValue().isNew, isNew);
            if (isNew) entries.push_back(insertion.GetValue().entry);
            EXPECT_EQ(insertion.GetValue().entry, entries[i]);
            entries[i]->value = static_cast<Int>(i);
        }
    }
    for (size_t i = 0; i < 500; i += 2) map.Erase(entries[i]);
    EXPECT_EQ(map.GetCount(), 250);
    std::set<Int> values;
    map.ForEach([&](auto& entry) { values.insert(entry.value); });
    EXPECT_EQ(values.size(), 250U);
    EXPECT_TRUE(std::all_of(values.begin(), values.end(), [](Int value) { return value % 2 == 1; }));
    EXPECT_EQ(map.Find(MakeText("4")), nullptr);
    EXPECT_EQ(map.Find(MakeText("5")), entries[5]);
}

TEST_F(ContainerTest, AMapThatFindsNoMemoryIsAsItWas) {
    const String key = MakeText("the key");
    HashMap<String, Int> map;
    for (const int failing : {0, 1}) {  // the table of buckets and the entry, one after the other
        EXPECT_EQ(map.Find(key), nullptr);
        host.allocations.FailFrom(failing);
        EXPECT_EQ(ErrorClass(map.FindOrInsert(key)), kOutOfMemory);
        EXPECT_EQ(map.GetCount(), 0);
    }
    host.allocations.FailFrom(2);
    EXPECT_TRUE(IsOk(map.FindOrInsert(key)));
    EXPECT_EQ(map.GetCount(), 1);
}

template <class T>
Data Make(const T& value) {
    Result<Data> data = Data::Of(value);
    EXPECT_TRUE(IsOk(data));
    return std::move(data).GetValue();
}

std::string TextOf(const Data& data) {
    return std::string(data.ToText().GetValue().GetView());
}

TEST_F(DataTest, EveryHostTypeHasItsTextAndItsValue) {
    EXPECT_EQ(TextOf(Make(true)), "true");
    EXPECT_EQ(TextOf(Make(false)), "false");
    EXPECT_EQ(TextOf(Make(std::numeric_limits<Int32>::min())), "-2147483648");
    EXPECT_EQ(TextOf(Make(std::numeric_limits<UInt32>::max())), "4294967295");
    EXPECT_EQ(TextOf(Make(std::numeric_limits<Int64>::min())), "-9223372036854775808");
    EXPECT_EQ(TextOf(Make(std::numeric_limits<UInt64>::max())), "18446744073709551615");
    EXPECT_EQ(TextOf(Make(Float64{0.1})), "0.1");
    EXPECT_EQ(TextOf(Make(MakeText("text"))), "text");
    EXPECT_EQ(TextOf(Data()), "");
    EXPECT_EQ(Make(UInt64{7}).GetType()->toText(nullptr).GetValue().GetView(), "nullptr");
    EXPECT_EQ(Make(Int64{-7}).Get<Int64>().GetValue(), -7);
}

TEST_F(DataTest, AnotherTypeOrOneThatNobodyRegisteredIsAnError) {
    const Data number = Make(Int64{1});
    EXPECT_EQ(ErrorClass(number.Get<UInt64>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(ErrorClass(number.Get<String>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(number.Find<Int32>(), nullptr);
    EXPECT_EQ(ErrorClass(Data().Get<Int64>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(GetDataType<BaseArray<String>>(), nullptr);
    EXPECT_FALSE(Data::Of(BaseArray<String>()).IsOk());
}

TEST_F(DataTest, ValuesAreCopiedMovedAndEnded) {
    const String text = MakeText("some text");
    Data first = Make(text);
    Data copy = std::move(first.Copy()).GetValue();
    Data moved = std::move(first);
    EXPECT_TRUE(first.IsEmpty());  // NOLINT(bugprone-use-after-move): moving leaves nothing
    EXPECT_EQ(moved.Find<String>()->GetChars(), text.GetChars());
    EXPECT_EQ(copy.Find<String>()->GetChars(), text.GetChars());
    copy = Make(Int32{3});
    EXPECT_EQ(TextOf(copy), "3");
    Data& self = copy;
    copy = std::move(self);
    EXPECT_EQ(TextOf(copy), "3");
    EXPECT_TRUE(Data().Copy().GetValue().IsEmpty());
}

TEST_F(DataTest, TypesCompareAndHashByValue) {
    const auto expectByValue = [](const auto& a, const auto& same, const auto& other) {
        const DataTypeRecord* type = GetDataType<std::remove_cvref_t<decltype(a)>>();
        EXPECT_TRUE(type->equal(&a, &same)) << type->id.GetText();
        EXPECT_FALSE(type->equal(&a, &other)) << type->id.GetText();
        EXPECT_EQ(type->hash(&a), type->hash(&same)) << type->id.GetText();
        EXPECT_NE(type->hash(&a), type->hash(&other)) << type->id.GetText();
    };
    expectByValue(Int64{5}, Int64{5}, Int64{6});
    expectByValue(Float64{0.0}, Float64{-0.0}, Float64{1.0});
    expectByValue(MakeText("a"), MakeText("a"), MakeText("b"));
}

TEST_F(TextTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
    // A "?" stands for the replacement character.
    const std::pair<std::string_view, std::string_view> cases[] = {
        {""sv, ""sv},
        {"plain"sv, "plain"sv},
        {"a\0b"sv, "a\0b"sv},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv, "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv},
        {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF"sv, "\xEF\xBF\xBF\xF4\x8F\xBF\xBF"sv},  // the last ones
        {"\x80x"sv, "?x"sv},                                                   // a continuation of nothing
        {"\xC3"sv, "?"sv},                                                     // cut off at the end
        {"\xE2\x82x"sv, "??x"sv},  // cut off by the next character
        {"\xF0\x9F\x98"sv, "???"sv},
        {"\xC0\xAF\xC1\xBF"sv, "????"sv},  // longer than need be
        {"\xE0\x9F\xBF\xF0\x8F\xBF\xBF"sv, "???????"sv},
        {"\xED\xA0\x80\xED\x9F\xBF"sv, "???\xED\x9F\xBF"sv},  // a surrogate; the last before them
        {"\xF4\x90\x80\x80\xF5\xFF"sv, "??????"sv},           // beyond U+10FFFF
    };
    for (const auto& [bytes, text] : cases) {
        std::string expected;
        for (const char c : text) expected += c == '?' ? "\xEF\xBF\xBD" : std::string(1, c);
        const String result = String::FromCText(bytes).GetValue();
        EXPECT_EQ(result.GetView(), expected);
        EXPECT_EQ(result.GetChars()[expected.size()], '\0');
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
    const String text = MakeText("shared");
    String copy;
    copy = text;
    EXPECT_EQ(copy.GetChars(), text.GetChars());
    EXPECT_EQ(host::CountAllocations(), before + 1);
    EXPECT_TRUE(copy == MakeText("shared"));
    EXPECT_EQ(copy.GetHash(), MakeText("shared").GetHash());
    EXPECT_FALSE(copy == MakeText("Shared"));
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(String::FromCText("text")), kOutOfMemory);
    EXPECT_EQ(ErrorClass(CString::FromText("text")), kOutOfMemory);
    EXPECT_TRUE(IsOk(String::FromCText(""))) << "the empty text needs no memory";
}

TEST_F(TextTest, MemoryComesAsTheServiceSays) {
    for (const Int size : {Int{0}, Int{-1}, std::numeric_limits<Int>::max()})
        EXPECT_EQ(System::Allocate(size), nullptr) << size;
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
}

}  // namespace
}  // namespace nuvra::test
