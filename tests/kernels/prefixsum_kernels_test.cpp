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

    struct Level {
        size_t count;
        cl_mem input;
        cl_mem sums;
    };

    void ScanLevel(const Level& level, size_t chunks, cl_mem pairs) {
        const Range range{{std::max(level.count / 4, group)}, {group}};
        Run(program, "scanExclusiveLocal1", range, level.sums, level.input, local,
            static_cast<UInt32>(block));
        if (level.count < block) return;
        const size_t blocks = chunks * chunk / block;
        const cl_mem blockSums = CreateBuffer(Words(blocks));
        Run(program, "scanExclusiveLocal2", {{(blocks + group - 1) / group * group}, {group}}, blockSums,
            level.sums, level.input, local, static_cast<UInt32>(blocks), static_cast<UInt32>(chunk / block));
        if (pairs != nullptr)
            Run(program, "uniformUpdate2", range, level.sums, blockSums, level.input, pairs);
        else
            Run(program, "uniformUpdate1", range, level.sums, blockSums);
    }

    /// The task's launches in their order, over chunks of `chunk` elements.
    void CheckLevels(size_t count, bool merge) {
        const Words values = RandomWords(count, 9);
        const cl_mem pairs = merge ? CreateBuffer(Words(2 * count, 7)) : nullptr;
        std::vector<Level> levels{{count, CreateBuffer(values), CreateBuffer(Words(count, 7))}};
        for (size_t chunks = count / chunk;; chunks = (chunks + chunk - 1) / chunk) {
            const Level level = levels.back();
            ScanLevel(level, chunks, count == chunk ? pairs : nullptr);
            if (chunks == 1) break;
            const Words unwritten(std::max(chunks, chunk), 7);
            const cl_mem totals = CreateBuffer(unwritten);
            Run(program, "buildNextBuffer", {{chunks}}, totals, level.sums, level.input,
                static_cast<UInt32>(chunk));
            levels.push_back({chunks, totals, chunks < block ? totals : CreateBuffer(unwritten)});
        }
        for (size_t k = levels.size() - 1; k > 0; k--) {
            const Level& below = levels[k - 1];
            if (merge && k == 1)
                Run(program, "addLevel2", {{count}}, below.sums, levels[k].sums, pairs, below.input);
            else
                Run(program, "addLevel1", {{below.count}}, below.sums, levels[k].sums);
        }
        const Words sums = SumsOf(values, count);
        Words expected = sums;
        if (merge) {
            expected.clear();
            for (size_t i = 0; i < count; i++) expected.insert(expected.end(), {sums[i], values[i]});
        }
        EXPECT_EQ(Read<UInt32>(merge ? pairs : levels[0].sums, expected.size()), expected) << count;
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

TEST_F(PrefixSumKernelsTest, ChunksAndLevelsGiveTheSumsOfTheWhole) {
    // One chunk of two blocks, and three levels of which the second has two blocks: with chunks as small as a
    // block, few values make them.
    for (const auto& [shift, count] : {std::pair{9, 1 << 9}, {8, 1 << 17}}) {
        for (const bool isSerial : {false, true}) {
            Build(64, isSerial, shift);
            for (const bool merge : {false, true}) CheckLevels(static_cast<size_t>(count), merge);
        }
    }
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
