#include "bare_device.h"

namespace nuvra::test {

namespace {

using reference::SumsOf;
using Words = std::vector<UInt32>;

Words RandomWords(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Words words(count);
    for (UInt32& word : words) word = static_cast<UInt32>(random());
    return words;
}

class PrefixSumKernelsTest : public BareDeviceTest {
protected:
    void Build(size_t groupSize, bool isSerial, int shift = 14) {
        program = BuildFile("prefixsum.cl", "-D WORKGROUP_SIZE=" + std::to_string(groupSize) +
                                                " -D PREFIX_SUM_ARRAY_SHIFT=" + std::to_string(shift) +
                                                (isSerial ? " -D SERIAL_SCAN" : ""));
        group = groupSize;
        block = 4 * groupSize;
        chunk = size_t{1} << shift;
        local = Local{2 * groupSize * sizeof(UInt32)};
    }

    void CheckBlocks() {
        const Words values = RandomWords(3 * block, 1);
        const cl_mem sums = CreateBuffer(Words(values.size(), 7));
        Run(program, "scanExclusiveLocal1", {{values.size() / 4}, {group}}, sums, CreateBuffer(values), local,
            static_cast<UInt32>(block));
        EXPECT_EQ(Read<UInt32>(sums, values.size()), SumsOf(values, block));
    }

    /// Runs of `length` blocks each, two and a half of them.
    void CheckBlockTotals(size_t length) {
        const size_t count = (5 * length + 1) / 2;
        const size_t global = (count + group - 1) / group * group;
        const Words values = RandomWords(count * block, 2);
        const Words sums = RandomWords(count * block, 3);
        Words totals;
        for (size_t i = block - 1; i < values.size(); i += block) totals.push_back(values[i] + sums[i]);
        Words expected = SumsOf(totals, length);
        expected.resize(count + 1, 7);
        const cl_mem result = CreateBuffer(Words(count + 1, 7));
        Run(program, "scanExclusiveLocal2", {{global}, {group}}, result, CreateBuffer(sums),
            CreateBuffer(values), local, static_cast<UInt32>(count), static_cast<UInt32>(length));
        EXPECT_EQ(Read<UInt32>(result, count + 1), expected) << "runs of " << length;
    }

    cl_program program = nullptr;
    size_t group = 0;
    size_t block = 0;
    size_t chunk = 0;
    Local local{};
};

TEST_F(PrefixSumKernelsTest, BothFormsOfTheScanAreExactForEveryGroupSize) {
    for (const size_t size : {64U, 256U, 1024U, 4096U}) {
        if (size > GetMaxGroupSize()) {
            std::cout << "no groups of " << size << ": this device allows " << GetMaxGroupSize() << '\n';
            continue;
        }
        for (const bool isSerial : {false, true}) {
            SCOPED_TRACE(testing::Message() << "groups of " << size << (isSerial ? ", serial" : ""));
            Build(size, isSerial);
            CheckBlocks();
            for (const size_t length : {chunk / block, size_t{1}, size_t{8}})
                if (length * block <= chunk) CheckBlockTotals(length);
        }
    }
}

TEST_F(PrefixSumKernelsTest, SumsOfBlocksAndChunksAreAddedToTheirElements) {
    Build(64, false, 9);  // two chunks of two blocks
    const size_t count = 2 * chunk;
    const Words values = RandomWords(count, 1);
    const Words sums = RandomWords(count, 2);
    const Words offsets = RandomWords(count / block, 3);
    Words perBlock;
    Words perChunk;
    Words pairs;
    const auto pair = [&](UInt32 sum, size_t i) { pairs.insert(pairs.end(), {sum, values[i]}); };
    for (size_t i = 0; i < count; i++) perBlock.push_back(sums[i] + offsets[i / block]);
    for (size_t i = 0; i < count; i++) perChunk.push_back(sums[i] + offsets[i / chunk]);
    const cl_mem input = CreateBuffer(values);
    const cl_mem added = CreateBuffer(offsets);
    const cl_mem result = CreateBuffer(Words(2 * count, 7));

    cl_mem changed = CreateBuffer(sums);
    Run(program, "uniformUpdate1", {{count / 4}, {group}}, changed, added);
    EXPECT_EQ(Read<UInt32>(changed, count), perBlock);
    Run(program, "uniformUpdate2", {{count / 4}, {group}}, CreateBuffer(sums), added, input, result);
    for (size_t i = 0; i < count; i++) pair(perBlock[i], i);
    EXPECT_EQ(Read<UInt32>(result, 2 * count), pairs);

    for (const size_t local : {group, size_t{1}}) {
        changed = CreateBuffer(sums);
        Run(program, "addLevel1", {{count}, {local}}, changed, added);
        EXPECT_EQ(Read<UInt32>(changed, count), perChunk);
    }
    Run(program, "addLevel2", {{count}}, CreateBuffer(sums), added, result, input);
    pairs.clear();
    for (size_t i = 0; i < count; i++) pair(perChunk[i], i);
    EXPECT_EQ(Read<UInt32>(result, 2 * count), pairs);

    Run(program, "buildNextBuffer", {{2}}, result, CreateBuffer(sums), input, static_cast<UInt32>(chunk));
    EXPECT_EQ(Read<UInt32>(result, 2),
              (Words{sums[chunk - 1] + values[chunk - 1], sums[count - 1] + values[count - 1]}));
}

/// Run by itself under a simulator, it shows that races would be seen.
TEST_F(PrefixSumKernelsTest, DISABLED_AScanWithoutBarriersRaces) {
    program = BareDeviceTest::Build(
        "__kernel void Shift(__global uint* values, __local uint* l_Data) {\n"
        "    uint lid = get_local_id(0);\n"
        "    l_Data[lid] = values[lid];\n"
        "    values[lid] = l_Data[lid ^ 1];\n"
        "}\n",
        "");
    Run(program, "Shift", {{64}, {64}}, CreateBuffer(RandomWords(64, 8)), Local{64 * sizeof(UInt32)});
}

}  // namespace

}  // namespace nuvra::test
