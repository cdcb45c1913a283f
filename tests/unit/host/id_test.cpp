#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "nuvra/id.h"

namespace nuvra::test {
namespace {

constexpr UInt64 kOwnedBit = UInt64{1} << 51;

/// h = h * 31 + byte a byte; the word is the length above the hash's low 51 bits.
UInt64 WordOf(const std::string& text) {
    UInt64 hash = 0;
    for (const unsigned char byte : text) hash = hash * 31 + byte;
    return (UInt64{text.size()} << 52) + hash % kOwnedBit;
}

TEST(IdTest, TheWordHoldsLengthAndHash) {
    EXPECT_EQ(Id("nuvra.System#1").GetWord(), UInt64{0xe35d6396ab48ed});
    for (const std::string& text :
         {std::string("ab"), std::string("nuvra.OpenCLDeviceInterface#1"), std::string("\xFF\x80"),
          std::string(4095, 'x'), std::string(4096, 'x'), std::string(70000, 'y')})
        EXPECT_EQ(Id(text.c_str()).GetWord(), WordOf(text)) << text.size();
    EXPECT_EQ(Id("").GetWord(), 0U);
    EXPECT_TRUE(Id("").IsEmpty());
    EXPECT_TRUE(Id(nullptr) == Id(""));
    EXPECT_STREQ(Id().GetText(), "");
}

TEST(IdTest, EqualWordsAreSettledByTheTexts) {
    static constexpr Id kFirst{"Aa"};
    static constexpr Id kSecond{"BB"};
    ASSERT_EQ(kFirst.GetWord(), kSecond.GetWord());
    EXPECT_FALSE(kFirst == kSecond);
    EXPECT_TRUE(kFirst == Id(std::string("Aa").c_str()));
    EXPECT_FALSE(kFirst == Id());
    // Lengths 4096 apart share the length field.
    const std::string shorter(10, '\x01');
    EXPECT_FALSE(Id(shorter.c_str()) == Id((shorter + std::string(4096, '\x01')).c_str()));
}

int g_allocations = 0;

void* Allocate(Int size) {
    g_allocations++;
    return std::malloc(static_cast<size_t>(size));
}

void Release(void* memory) {
    g_allocations--;
    std::free(memory);
}

TEST(IdTest, OwnedTextLivesAsLongAsAnyCopy) {
    static constexpr Id kBorrowed{"owned text"};
    Id survivor;
    {
        std::string text = "owned text";
        const Id id = Id::Own(text.c_str(), Allocate, Release);
        text.assign("something else");
        EXPECT_EQ(id.GetWord(), WordOf("owned text") | kOwnedBit);
        EXPECT_TRUE(id == kBorrowed) << "who owns the text makes no difference";
        Id copy;
        copy = id;
        survivor = copy;
        Id moved = std::move(survivor);
        survivor = std::move(moved);
    }
    EXPECT_STREQ(survivor.GetText(), "owned text");
    EXPECT_EQ(g_allocations, 1);
    survivor = Id();
    EXPECT_TRUE(Id::Own("", Allocate, Release).IsEmpty());
    const auto fail = [](Int) -> void* { return nullptr; };
    EXPECT_TRUE(Id::Own("no memory", fail, Release).IsEmpty());
    EXPECT_EQ(g_allocations, 0);
}

}  // namespace
}  // namespace nuvra::test
