#include "nuvra/data.h"
#include "nuvra/hash_map.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

using namespace std::string_view_literals;
constexpr const char* kOutOfMemory = "nuvra.OutOfMemoryErrorObject";

template <class T>
std::vector<T> Items(const BaseArray<T>& array) {
    return {array.begin(), array.end()};
}

TEST_F(HostTest, AnArrayGrowsAndShrinksInOrder) {
    BaseArray<Int> array;
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
    moved.Reset();
    EXPECT_TRUE(moved.IsEmpty());
    EXPECT_TRUE(array.IsEmpty());  // NOLINT(bugprone-use-after-move): moving leaves nothing
}

TEST_F(HostTest, AnArrayThatCannotGrowOrBeCopiedIsAsItWas) {
    BaseArray<String> array;
    for (Int i = 0; i < 8; i++) ASSERT_TRUE(IsOk(array.Append(MakeText(std::to_string(i)))));
    const std::vector<String> before = Items(array);
    const Int most = std::numeric_limits<Int>::max() / Int{sizeof(String)};
    for (const Int count : {Int{-1}, most, most + 1})
        EXPECT_EQ(ErrorClass(array.Resize(count)), kOutOfMemory) << count;
    BaseArray<String> other;
    ASSERT_TRUE(IsOk(other.Append(MakeText("old"))));
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(array.Append(String())), kOutOfMemory);
    EXPECT_EQ(ErrorClass(array.Resize(9)), kOutOfMemory);
    EXPECT_EQ(ErrorClass(other.CopyFrom(array)), kOutOfMemory);
    host.allocations.FailNone();
    EXPECT_EQ(Items(array), before);
    EXPECT_EQ(Items(other), std::vector{MakeText("old")});
    ASSERT_TRUE(IsOk(other.CopyFrom(array)));
    EXPECT_EQ(Items(other), before);
    ASSERT_TRUE(IsOk(other.CopyFrom(BaseArray<String>())));
    EXPECT_TRUE(other.IsEmpty());
}

TEST_F(HostTest, AMapKeepsEveryEntryAtItsAddressAndFailsAsAWhole) {
    HashMap<String, Int> map;
    const String key = MakeText("0");
    for (const int failing : {0, 1}) {  // the table of buckets and the entry, one after the other
        EXPECT_EQ(map.Find(key), nullptr);
        host.allocations.FailFrom(failing);
        EXPECT_EQ(ErrorClass(map.FindOrInsert(key)), kOutOfMemory);
        EXPECT_EQ(map.GetCount(), 0);
    }
    host.allocations.FailNone();
    std::vector<HashMap<String, Int>::Entry*> entries(500);
    for (const bool isNew : {true, false}) {
        for (Int i = 0; i < 500; i++) {
            const auto insertion = map.FindOrInsert(MakeText(std::to_string(i)));
            ASSERT_TRUE(IsOk(insertion));
            EXPECT_EQ(insertion.GetValue().isNew, isNew);
            if (isNew) entries[i] = insertion.GetValue().entry;
            EXPECT_EQ(insertion.GetValue().entry, entries[i]);
            entries[i]->value = i;
        }
    }
    for (size_t i = 0; i < 500; i += 2) map.Erase(entries[i]);
    EXPECT_EQ(map.GetCount(), 250);
    for (Int i = 0; i < 500; i++)
        EXPECT_EQ(map.Find(MakeText(std::to_string(i))), i % 2 == 1 ? entries[i] : nullptr);
    Int sum = 0;
    map.ForEach([&](auto& entry) { sum += entry.value; });
    EXPECT_EQ(sum, 250 * 250);
}

template <class T>
void ExpectType(const T& value, const T& same, const T& other, const char* text) {
    SCOPED_TRACE(text);
    const Data data = Data::Of(value).GetValue();
    const DataTypeRecord* type = data.GetType();
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(data.ToText().GetValue().GetView(), text);
    EXPECT_TRUE(data.Get<T>().GetValue() == value);
    EXPECT_TRUE(type->equal(&value, &same) && !type->equal(&value, &other));
    EXPECT_TRUE(type->hash(&value) == type->hash(&same) && type->hash(&value) != type->hash(&other));
    EXPECT_EQ(type->toText(nullptr).GetValue().GetView(), "nullptr");
}

TEST_F(HostTest, EveryHostTypeHasItsTextAndOnlyItsValue) {
    ExpectType(true, true, false, "true");
    ExpectType(false, false, true, "false");
    ExpectType(Int32{-7}, Int32{-7}, Int32{7}, "-7");
    ExpectType(UInt32{4294967295}, UInt32{4294967295}, UInt32{0}, "4294967295");
    ExpectType(Int64{-4294967296}, Int64{-4294967296}, Int64{0}, "-4294967296");
    ExpectType(~UInt64{0}, ~UInt64{0}, UInt64{0}, "18446744073709551615");
    ExpectType(Float64{0.1}, Float64{0.1}, Float64{0.2}, "0.1");
    ExpectType(Float64{0.0}, Float64{-0.0}, Float64{1.0}, "0");
    ExpectType(MakeText("a"), MakeText("a"), MakeText("b"), "a");
    const Data number = Data::Of(Int64{-7}).GetValue();
    EXPECT_EQ(ErrorClass(number.Get<UInt64>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(ErrorClass(Data().Get<Int64>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_FALSE(Data::Of(BaseArray<String>()).IsOk()) << "nobody registers it";
}

TEST_F(HostTest, ValuesAreCopiedMovedAndEnded) {
    const String text = MakeText("some text");
    Data first = Data::Of(text).GetValue();
    Data copy = first.Copy().GetValue();
    Data moved = std::move(first);
    EXPECT_TRUE(first.IsEmpty());  // NOLINT(bugprone-use-after-move): moving leaves nothing
    for (const Data* data : {&moved, &copy})
        EXPECT_EQ(data->Find<String>()->GetChars(), text.GetChars()) << "bytes are shared";
    copy = Data::Of(Int32{3}).GetValue();
    Data& self = copy;
    copy = std::move(self);
    EXPECT_EQ(copy.Get<Int32>().GetValue(), 3);
    EXPECT_TRUE(Data().Copy().GetValue().IsEmpty());
    EXPECT_TRUE(Data().ToText().GetValue().IsEmpty());
}

TEST_F(HostTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
    // A "?" stands for the replacement character.
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"a\0b\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv, "a\0b\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"sv},
        // The last characters, and the last before the surrogates.
        {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF\xED\x9F\xBF", "\xEF\xBF\xBF\xF4\x8F\xBF\xBF\xED\x9F\xBF"},
        // A continuation of nothing; cut off by the next character, and by the end.
        {"\x80x", "?x"},
        {"\xE2\x82x", "??x"},
        {"\xC3", "?"},
        {"\xF0\x9F\x98", "???"},
        // Longer than need be, a surrogate, and beyond U+10FFFF.
        {"\xC0\xAF\xC1\xBF", "????"},
        {"\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "???????"},
        {"\xED\xA0\x80", "???"},
        {"\xF4\x90\x80\x80\xF5\xFF", "??????"},
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

TEST_F(HostTest, TextsShareTheirBytesAndThoseForCHoldNoNul) {
    const Int before = host::CountAllocations();
    const String text = MakeText("shared");
    String copy;
    copy = text;
    EXPECT_EQ(copy.GetChars(), text.GetChars());
    EXPECT_EQ(host::CountAllocations(), before + 1);
    EXPECT_TRUE(copy == MakeText("shared"));
    EXPECT_EQ(copy.GetHash(), MakeText("shared").GetHash());
    EXPECT_FALSE(copy == MakeText("Shared"));
    EXPECT_EQ(CString::FromText("clFinish").GetValue().GetView(), "clFinish");
    EXPECT_STREQ(CString().GetChars(), "");
    EXPECT_FALSE(CString::FromText("a\0"sv).IsOk());
    host.allocations.FailAll();
    EXPECT_EQ(ErrorClass(String::FromCText("text")), kOutOfMemory);
    EXPECT_EQ(ErrorClass(CString::FromText("text")), kOutOfMemory);
    EXPECT_TRUE(IsOk(String::FromCText(""))) << "the empty text needs no memory";
    EXPECT_TRUE(IsOk(CString::FromText("")));
}

TEST_F(HostTest, MemoryComesAsTheServiceSays) {
    for (const Int size : {Int{0}, Int{-1}, std::numeric_limits<Int>::max()})
        EXPECT_EQ(System::Allocate(size), nullptr) << size;
    auto* block = static_cast<char*>(System::Reallocate(nullptr, 16));
    block[15] = 'x';
    EXPECT_EQ(System::Reallocate(block, 0), nullptr);
    host.allocations.FailFrom(0);
    EXPECT_EQ(System::Reallocate(block, 32), nullptr);
    EXPECT_EQ(block[15], 'x') << "a failure leaves the old block";
    block = static_cast<char*>(System::Reallocate(block, 1 << 20));
    EXPECT_EQ(block[15], 'x');
    System::Free(block);
    System::Free(nullptr);
}

TEST_F(HostTest, TheWordHoldsLengthAndHashAndEqualWordsAreSettledByTheTexts) {
    EXPECT_EQ(Id("nuvra.System#1").GetWord(), UInt64{0xe35d6396ab48ed});
    EXPECT_EQ(Id("\xFF\x80").GetWord(), UInt64{0x20000000001f61});
    EXPECT_EQ(Id(std::string(4097, 'x').c_str()).GetWord(), UInt64{0x14f1024f880078}) << "12 bits of length";
    EXPECT_TRUE(Id("").IsEmpty());
    EXPECT_TRUE(Id(nullptr) == Id(""));
    EXPECT_STREQ(Id().GetText(), "");
    static constexpr Id kFirst{"Aa"};
    static constexpr Id kSecond{"BB"};
    ASSERT_EQ(kFirst.GetWord(), kSecond.GetWord());
    EXPECT_FALSE(kFirst == kSecond);
    EXPECT_TRUE(kFirst == Id(std::string("Aa").c_str()));
}

TEST_F(HostTest, OwnedTextLivesAsLongAsAnyCopy) {
    const auto [allocate, reallocate, release] = *Table<System>();
    static constexpr Id kBorrowed{"owned text"};
    const Int before = host::CountAllocations();
    std::string text = "owned text";
    Id survivor = Id::Own(text.c_str(), allocate, release);
    text.assign("something else");
    EXPECT_EQ(survivor.GetWord(), kBorrowed.GetWord() | UInt64{1} << 51);
    EXPECT_TRUE(survivor == kBorrowed) << "who owns the text makes no difference";
    {
        const Id copy = survivor;
        Id moved = std::move(survivor);
        survivor = moved;
    }
    EXPECT_STREQ(survivor.GetText(), "owned text");
    EXPECT_EQ(host::CountAllocations(), before + 1);
    EXPECT_TRUE(Id::Own("", allocate, release).IsEmpty());
    host.allocations.FailAll();
    EXPECT_TRUE(Id::Own("no memory", allocate, release).IsEmpty());
}

}  // namespace
}  // namespace nuvra::test
