#pragma once

#include <CL/cl.h>

#include <functional>
#include <variant>
#include <vector>

namespace nuvra::bench {

/// The kernel arguments and launches of one run through the module, recorded by a tracer and repeated by bare
/// calls on the same kernels, memory and queue. 8- and 16-bit arguments are not traced; they keep the values
/// of that run.
///
/// The tracer stays while the module is measured and costs it some ten nanoseconds a call.
class Recording {
public:
    /// Throws `std::runtime_error` when `run` launches nothing.
    explicit Recording(const std::function<void()>& run);

    /// Makes the calls and waits for the queue. Returns whether all succeeded.
    bool Repeat() const;

private:
    friend class Recorder;

    struct Argument {
        cl_kernel kernel;
        cl_uint index;
        size_t size;
        std::vector<unsigned char> value;  ///< empty for local memory
        bool Set() const;
    };
    struct Launch {
        cl_command_queue queue;
        cl_kernel kernel;
        std::vector<size_t> offset;  ///< empty for none, as the sizes of a group
        std::vector<size_t> globalSize;
        std::vector<size_t> localSize;
        bool Enqueue() const;
    };

    std::vector<std::variant<Argument, Launch>> _calls;
    cl_command_queue _queue = nullptr;
};

}  // namespace nuvra::bench
