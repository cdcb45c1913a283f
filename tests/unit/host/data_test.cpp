#include "zoo_fixture.h"

#include "nuvra/data.h"

namespace nuvra::test {
namespace {

class DataTest : public HostTest {};

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

TEST_F(DataTest, AnotherTypeIsAnError) {
    const Data number = Make(Int64{1});
    EXPECT_EQ(ErrorClass(number.Get<UInt64>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(ErrorClass(number.Get<String>()), "nuvra.WrongValueTypeErrorObject");
    EXPECT_EQ(number.Find<Int32>(), nullptr);
    EXPECT_EQ(ErrorClass(Data().Get<Int64>()), "nuvra.WrongValueTypeErrorObject");
}

TEST_F(DataTest, ATypeThatNobodyRegisteredIsAnError) {
    EXPECT_EQ(GetDataType<BaseArray<String>>(), nullptr);
    EXPECT_FALSE(Data::Of(BaseArray<String>()).IsOk());
}

TEST_F(DataTest, ValuesAreCopiedMovedAndEnded) {
    const Int before = host::CountAllocations();
    {
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
    EXPECT_EQ(host::CountAllocations(), before);
}

TEST_F(DataTest, TypesCompareAndHashByValue) {
    const auto expectByValue = [](const DataTypeRecord* type, const void* a, const void* same,
                                  const void* other) {
        EXPECT_TRUE(type->equal(a, same)) << type->id.GetText();
        EXPECT_FALSE(type->equal(a, other)) << type->id.GetText();
        EXPECT_EQ(type->hash(a), type->hash(same)) << type->id.GetText();
        EXPECT_NE(type->hash(a), type->hash(other)) << type->id.GetText();
    };
    const Int64 numbers[] = {5, 5, 6};
    expectByValue(GetDataType<Int64>(), &numbers[0], &numbers[1], &numbers[2]);
    const Float64 floats[] = {0.0, -0.0, 1.0};
    expectByValue(GetDataType<Float64>(), &floats[0], &floats[1], &floats[2]);
    const String texts[] = {MakeText("a"), MakeText("a"), MakeText("b")};
    expectByValue(GetDataType<String>(), &texts[0], &texts[1], &texts[2]);
}

}  // namespace
}  // namespace nuvra::test
