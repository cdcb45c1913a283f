#include <algorithm>
#include <set>

#include "nuvra/hash_map.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

class ContainerTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        _before = host::CountAllocations();
    }
    void TearDown() override { EXPECT_EQ(host::CountAllocations(), _before) << "blocks are left"; }

private:
    Int _before = 0;
};

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
    array.Erase(0);
    array.Erase(998);
    array.Erase(500);
    expected.erase(expected.begin());
    expected.erase(expected.begin() + 998);
    expected.erase(expected.begin() + 500);
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
        EXPECT_EQ(ErrorClass(array.Resize(count)), "nuvra.OutOfMemoryErrorObject") << count;
    host.allocations.FailFrom(0);
    EXPECT_EQ(ErrorClass(array.Append(8)), "nuvra.OutOfMemoryErrorObject");
    host.allocations.FailFrom(0);
    EXPECT_EQ(ErrorClass(array.Resize(9)), "nuvra.OutOfMemoryErrorObject");
    EXPECT_EQ(Items(array), before);
    EXPECT_TRUE(IsOk(array.Append(8)));
}

TEST_F(ContainerTest, AnArrayIsCopiedAsAWholeOrNotAtAll) {
    BaseArray<String> from;
    BaseArray<String> to;
    for (const char* text : {"a", "b", "c"}) ASSERT_TRUE(IsOk(from.Append(MakeText(text))));
    ASSERT_TRUE(IsOk(to.Append(MakeText("old"))));
    host.allocations.FailFrom(0);
    EXPECT_EQ(ErrorClass(to.CopyFrom(from)), "nuvra.OutOfMemoryErrorObject");
    ASSERT_EQ(to.GetCount(), 1);
    EXPECT_EQ(to[0].GetView(), "old");
    ASSERT_TRUE(IsOk(to.CopyFrom(from)));
    EXPECT_EQ(Items(to), Items(from));
    ASSERT_TRUE(IsOk(to.CopyFrom(BaseArray<String>())));
    EXPECT_TRUE(to.IsEmpty());
}

TEST_F(ContainerTest, AMapKeepsEveryEntryAtItsAddress) {
    HashMap<String, Int> map;
    std::vector<HashMap<String, Int>::Entry*> entries;
    for (Int i = 0; i < 500; i++) {
        const auto insertion = map.FindOrInsert(MakeText(std::to_string(i)));
        ASSERT_TRUE(IsOk(insertion));
        ASSERT_TRUE(insertion.GetValue().isNew);
        insertion.GetValue().entry->value = i;
        entries.push_back(insertion.GetValue().entry);
    }
    for (Int i = 0; i < 500; i++) {
        const auto again = map.FindOrInsert(MakeText(std::to_string(i)));
        EXPECT_FALSE(again.GetValue().isNew);
        EXPECT_EQ(again.GetValue().entry, entries[static_cast<size_t>(i)]);
    }
    for (size_t i = 0; i < 500; i += 2) map.Erase(entries[i]);
    EXPECT_EQ(map.GetCount(), 250);
    std::set<Int> values;
    map.ForEach([&](auto& entry) { values.insert(entry.value); });
    EXPECT_EQ(values.size(), 250U);
    EXPECT_TRUE(std::all_of(values.begin(), values.end(), [](Int value) { return value % 2 == 1; }));
    EXPECT_EQ(map.Find(MakeText("4")), nullptr);
    EXPECT_NE(map.Find(MakeText("5")), nullptr);
}

TEST_F(ContainerTest, AMapThatFindsNoMemoryIsAsItWas) {
    const String key = MakeText("the key");
    HashMap<String, Int> map;
    EXPECT_EQ(map.Find(key), nullptr);
    int failures = 0;
    while (true) {  // the table of buckets and the entry, one after the other
        host.allocations.FailFrom(failures);
        const auto insertion = map.FindOrInsert(key);
        host.allocations.FailNone();
        if (insertion.IsOk()) break;
        EXPECT_EQ(ErrorClass(insertion), "nuvra.OutOfMemoryErrorObject");
        EXPECT_EQ(map.GetCount(), 0);
        EXPECT_EQ(map.Find(key), nullptr);
        ASSERT_LT(failures++, 10);
    }
    EXPECT_EQ(failures, 2);
    EXPECT_EQ(map.GetCount(), 1);
}

}  // namespace
}  // namespace nuvra::test
