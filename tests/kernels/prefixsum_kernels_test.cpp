#include "bare_device.h"

namespace nuvra::test {

namespace {

using Words = std::vector<UInt32>;

Words RandomWords(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Words words(count);
    for (UInt32& word : words) word = static_cast<UInt32>(random());
    return words;
}

/// The exclusive sums of each run of `length` values.
Words SumsOf(const Words& values, size_t length) {
    Words sums;
    UInt32 sum = 0;
    for (size_t i = 0; i < values.size(); i++) {
        if (i % length == 0) sum = 0;
        sums.push_back(sum);
        sum += values[i];
    }
    return sums;
}

constexpr size_t kChunk = 16384;

class PrefixSumKernelsTest : public BareDeviceTest {
protected:
    void Build(size_t groupSize, bool isSerial) {
        program = BuildFile("prefixsum.cl", "-D WORKGROUP_SIZE=" + std::to_string(groupSize) +
                                                " -D PREFIX_SUM_ARRAY_SHIFT=14" +
                                                (isSerial ? " -D SERIAL_SCAN" : ""));
        group = groupSize;
        block = 4 * groupSize;
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

    void CheckUpdates() {
        const Words sums = RandomWords(2 * block, 4);
        const Words values = RandomWords(2 * block, 5);
        const Words blockSums = {0x90000000, 0xFFFFFFF0};
        Words updated;
        Words pairs;
        for (size_t i = 0; i < sums.size(); i++) {
            updated.push_back(sums[i] + blockSums[i / block]);
            pairs.insert(pairs.end(), {updated[i], values[i]});
        }
        const Range range{{sums.size() / 4}, {group}};
        const cl_mem sumBuffer = CreateBuffer(sums);
        const cl_mem result = CreateBuffer(Words(pairs.size()));
        const cl_mem blockSumBuffer = CreateBuffer(blockSums);
        Run(program, "uniformUpdate2", range, sumBuffer, blockSumBuffer, CreateBuffer(values), result);
        EXPECT_EQ(Read<UInt32>(result, pairs.size()), pairs);
        Run(program, "uniformUpdate1", range, sumBuffer, blockSumBuffer);
        EXPECT_EQ(Read<UInt32>(sumBuffer, sums.size()), updated);
    }

    cl_program program = nullptr;
    size_t group = 0;
    size_t block = 0;
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
            CheckUpdates();
            for (const size_t length : {kChunk / block, size_t{1}, size_t{8}})
                if (length * block <= kChunk) CheckBlockTotals(length);
        }
    }
}

TEST_F(PrefixSumKernelsTest, LevelsAreMadeAndAdded) {
    Build(64, false);
    constexpr size_t kCount = kChunk + 100;
    const Words sums = RandomWords(kCount, 6);
    const Words values = RandomWords(kCount, 7);
    const Words chunkSums = {5, 0xFFFFFF00};
    Words pairs;
    Words added;
    Words addedPairs;
    for (size_t i = 0; i < kCount; i++) {
        added.push_back(sums[i] + chunkSums[i / kChunk]);
        pairs.insert(pairs.end(), {sums[i], values[i]});
        addedPairs.insert(addedPairs.end(), {added[i], values[i]});
    }
    const cl_mem sumBuffer = CreateBuffer(sums);
    const cl_mem valueBuffer = CreateBuffer(values);
    const cl_mem chunkSumBuffer = CreateBuffer(chunkSums);
    const cl_mem result = CreateBuffer(Words(2 * kCount, 7));
    const Range range{{kCount}};
    Run(program, "mergeResult", range, result, sumBuffer, valueBuffer);
    EXPECT_EQ(Read<UInt32>(result, 2 * kCount), pairs);
    Run(program, "addLevel2", range, sumBuffer, chunkSumBuffer, result, valueBuffer);
    EXPECT_EQ(Read<UInt32>(result, 2 * kCount), addedPairs);
    Run(program, "addLevel1", range, sumBuffer, chunkSumBuffer);
    EXPECT_EQ(Read<UInt32>(sumBuffer, kCount), added);

    constexpr UInt32 kScale = 1000;
    Words totals;
    for (size_t i = kScale - 1; i < kCount; i += kScale) totals.push_back(added[i] + values[i]);
    Run(program, "buildNextBuffer", {{totals.size()}}, result, sumBuffer, valueBuffer, kScale);
    EXPECT_EQ(Read<UInt32>(result, totals.size()), totals);
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
