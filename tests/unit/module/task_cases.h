#pragma once

#include <array>
#include <cstring>
#include <vector>

#include "nuvra/open_cl_task.h"

namespace nuvra::test {

/// A task and a record that it runs on, in words: the version, the memory, the numbers.
struct TaskCase {
    const char* task;
    std::array<Int64, 12> record{};
    std::vector<UInt64> needs;  ///< of each memory: the bytes of a buffer, 0 for a picture
    bool isInPlace = false;     ///< or has one memory
};
template <class Record>
TaskCase MakeCase(const char* task, const Record& record, std::vector<UInt64> needs, bool isInPlace = false) {
    TaskCase one{task, {}, std::move(needs), isInPlace};
    std::memcpy(one.record.data(), &record, sizeof(record));
    return one;
}

/// Every task, on two buffers and two pictures.
inline std::vector<TaskCase> MakeTaskCases(const OpenCLMemoryObjectRef (&m)[4], UInt32* total) {
    const ScaleParameters scaling{1, &m[2], &m[3], 0, 0, 4, 4, 0, 0, 8, 8};
    return {
        MakeCase("clearmem", ClearMemParameters{1, &m[0], 35, 7}, {35}),
        MakeCase("crc32c", Crc32cParameters{1, &m[0], &m[1], 9, true}, {9, 4}, true),
        MakeCase("prefixsum", PrefixSumParameters{1, &m[0], &m[1], 32768, 20000, true, total},
                 {131072, 262144}),
        MakeCase("image.invert", InvertImageParameters{1, &m[2], &m[3], 1, 1, 3, 3}, {0, 0}, true),
        MakeCase("image.gamma", GammaImageParameters{1, &m[2], &m[3], 1, 1, 3, 3, 2}, {0, 0}, true),
        MakeCase("image.stereo.sbs", StereoSbsParameters{1, &m[2], &m[2], &m[3], 1, 1, 3, 3}, {0, 0, 0}),
        MakeCase("image.scalenearest", scaling, {0, 0}),
        MakeCase("image.scalebicubic", scaling, {0, 0}),
    };
}

}  // namespace nuvra::test
