#include "peers.h"

#define CL_HPP_TARGET_OPENCL_VERSION 120
#define CL_HPP_MINIMUM_OPENCL_VERSION 120
#define CL_HPP_ENABLE_EXCEPTIONS
#include <CL/opencl.hpp>
#include <array>
#include <boost/compute/algorithm/exclusive_scan.hpp>
#include <boost/compute/container/vector.hpp>
#include <cstring>
#include <memory>
#include <numeric>

#include "references.h"

namespace nuvra::bench {
namespace {

std::vector<cl_uint> MakeNumbers(size_t count) {
    std::vector<cl_uint> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 12345);
    return numbers;
}

/// A way that does `job` again and again; what the job captures lives as long as the way.
template <class Job>
Way Repeat(const char* name, Job job) {
    return {name, [job](benchmark::State& state) {
                for (auto _ : state) {
                    job();
                    benchmark::ClobberMemory();
                }
            }};
}

/// The number of bytes is a multiple of 8.
__attribute__((target("sse4.2"))) unsigned long long InstructionCrc(const std::vector<unsigned char>& bytes) {
    unsigned long long crc = 0xFFFFFFFF;
    for (size_t i = 0; i < bytes.size(); i += 8) {
        unsigned long long word = 0;
        std::memcpy(&word, &bytes[i], 8);
        crc = __builtin_ia32_crc32di(crc, word);
    }
    return crc;
}

}  // namespace

Way MakeMemset(size_t size) {
    const auto memory = std::make_shared<std::vector<unsigned char>>(size);
    return Repeat("memset", [memory] { std::memset(memory->data(), 0xAB, memory->size()); });
}

Way MakeFill(cl_device_id device, size_t size) {
    const cl::Context context{cl::Device(device, true)};
    const cl::CommandQueue queue(context);
    const cl::Buffer buffer(context, CL_MEM_READ_WRITE, size);
    return Repeat("clEnqueueFillBuffer", [queue, buffer, size] {
        queue.enqueueFillBuffer(buffer, cl_uchar{0xAB}, 0, size);
        queue.finish();
    });
}

Way MakeStandardScan(size_t count) {
    const auto from = std::make_shared<std::vector<cl_uint>>(MakeNumbers(count));
    const auto to = std::make_shared<std::vector<cl_uint>>(count);
    return Repeat("std::exclusive_scan",
                  [from, to] { std::exclusive_scan(from->begin(), from->end(), to->begin(), 0U); });
}

Way MakeBoostScan(cl_device_id id, size_t count) {
    namespace compute = boost::compute;
    const compute::context context{compute::device(id)};
    auto queue = std::make_shared<compute::command_queue>(context, compute::device(id));
    const auto numbers = MakeNumbers(count);
    const auto from = std::make_shared<compute::vector<cl_uint>>(numbers.begin(), numbers.end(), *queue);
    const auto to = std::make_shared<compute::vector<cl_uint>>(count, context);
    return Repeat("Boost.Compute", [queue, from, to] {
        compute::exclusive_scan(from->begin(), from->end(), to->begin(), *queue);
        queue->finish();
    });
}

Way MakeTableCrc(size_t size) {
    std::array<cl_uint, 256> table{};
    for (cl_uint i = 0; i < table.size(); i++) table[i] = reference::ShiftCrc(i);
    const auto bytes = std::make_shared<std::vector<unsigned char>>(size, static_cast<unsigned char>(1));
    return Repeat("table loop", [table, bytes] {
        cl_uint crc = 0xFFFFFFFF;
        for (const unsigned char byte : *bytes) crc = (crc >> 8) ^ table[(crc ^ byte) & 0xFF];
        benchmark::DoNotOptimize(crc);
    });
}

Way MakeInstructionCrc(size_t size) {
    const auto bytes = std::make_shared<std::vector<unsigned char>>(size, static_cast<unsigned char>(1));
    return Repeat("instruction", [bytes] { benchmark::DoNotOptimize(InstructionCrc(*bytes)); });
}

}  // namespace nuvra::bench
