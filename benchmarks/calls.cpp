#include "calls.h"

namespace nuvra::bench {
namespace {

/// A benchmark of an operation on one side.
template <class Side, class Operation>
std::function<void(benchmark::State&)> Repeat(Side& side, Operation operation) {
    return [&side, operation](benchmark::State& state) mutable {
        for (auto _ : state) {
            if (!operation(side)) [[unlikely]] {
                state.SkipWithError("a call failed");
                break;
            }
        }
    };
}

/// An operation that leaves work in the queue, and now and then empties it.
template <class Operation>
auto ThenFinish(Operation operation) {
    constexpr unsigned kQueued = 64;
    return [operation, count = 0U](auto& side) mutable {
        const bool done = operation(side);
        return ++count % kQueued != 0 ? done : done && side.Finish();
    };
}

}  // namespace

std::vector<Row> Calls::GetRows(bool withLimits) {
    const double call = withLimits ? 5 : 0;     // nanoseconds for what makes no object
    const double object = withLimits ? 25 : 0;  // and for what makes one
    std::vector<Row> rows;
    const auto add = [&](const char* name, double allowedNs, auto operation) {
        rows.push_back({name,
                        allowedNs,
                        {{"bare", Repeat(_bare, operation)},
                         {"module", Repeat(_module, operation)},
                         {"bare again", Repeat(_bare, operation)},
                         {"C++ header", Repeat(_header, operation)},
                         {"Boost.Compute", Repeat(_boost, operation)}}});
    };
    add("set argument, scalar", call, [](auto& side) { return side.SetScalar(); });
    add("set argument, memory object", call, [](auto& side) { return side.SetMemory(); });
    add("enqueue and finish", call, [](auto& side) { return side.Launch() && side.Finish(); });
    add("read 4 bytes, blocking", call, [](auto& side) { return side.Read(); });
    add("write 4 bytes, blocking", call, [](auto& side) { return side.Write(); });
    add("enqueue after 16 events", 0, ThenFinish([](auto& side) { return side.LaunchAfterEvents(); }));
    add("enqueue with event, release it", object,
        ThenFinish([](auto& side) { return side.LaunchWithEvent(); }));
    add("create and release a buffer", object, [](auto& side) { return side.MakeBuffer(); });
    return rows;
}

}  // namespace nuvra::bench
