#include "opencl_range.h"

namespace nuvra {

namespace {

/// Launches in turn, each starting where the one before ends.
class Launcher {
public:
    Launcher(const RangeLaunch& range, const EventArguments& events)
        : _range(range), _events(events), _offset(range.offset) {}

    /// One launch of x * y * z work-items, unless an earlier one failed. `groupSize` of 0 is no local size.
    void Launch(cl_kernel kernel, cl_uint dimensions, size_t groupSize, size_t x, size_t y, size_t z) {
        if (_code != CL_SUCCESS) return;
        const size_t offset[] = {_offset, 0, 0};
        const size_t global[] = {x, y, z};
        const size_t local[] = {groupSize, 1, 1};
        const bool isFirst = std::exchange(_isFirst, false);
        // The event is the latest successful launch's: the one before is released once it is replaced.
        OwnedEvent previous(_events.event == nullptr ? nullptr : std::exchange(*_events.event, nullptr));
        _code = Call<entry::clEnqueueNDRangeKernel>(
            _events.GetAfterValues(), _range.queue, kernel, dimensions, offset, global,
            groupSize == 0 ? nullptr : local, isFirst ? _events.count : 0, isFirst ? _events.list : nullptr,
            _events.event);
        if (previous && *_events.event == nullptr) std::swap(*_events.event, *previous.GetAddress());
        _offset += x * y * z;
    }

    /// Launches `count` layers, at most `limit` at a time, by `launch(layers)`.
    template <class LaunchOne>
    void InLayers(size_t count, size_t limit, const LaunchOne& launch) {
        while (count > 0 && _code == CL_SUCCESS) {
            const size_t layers = std::min(count, limit);
            launch(layers);
            count -= layers;
        }
    }

    cl_int Finish() {
        if (_isFirst && _events.count > 0)
            Call<entry::clWaitForEvents>(ResultCode(), _events.count, _events.list);
        return _code;
    }

private:
    const RangeLaunch& _range;
    const EventArguments& _events;
    size_t _offset;
    cl_int _code = CL_SUCCESS;
    bool _isFirst = true;
};

}  // namespace

cl_int RangeLaunch::Run(const EventArguments& events) const {
    Launcher launcher(*this, events);
    if (limits == nullptr) {
        const size_t main = groupSize == 0 ? count : count - count % groupSize;
        // Without groups the runtime answers for an empty range, with groups there is nothing to launch.
        if (groupSize == 0 || main > 0) launcher.Launch(mainKernel, 1, groupSize, main, 1, 1);
        if (count > main) launcher.Launch(tailKernel, 3, 0, count - main, 1, 1);
        return launcher.Finish();
    }
    const size_t columns = std::max<size_t>(limits[0], 1);
    const size_t rows = std::max<size_t>(limits[1], 1);
    const size_t slabs = std::max<size_t>(limits[2], 1);
    size_t rest = count;
    // A plane whose size overflows is larger than any range.
    if (columns <= SIZE_MAX / rows) {
        const size_t plane = columns * rows;
        launcher.InLayers(rest / plane, slabs, [&](size_t layers) {
            launcher.Launch(mainKernel, 3, groupSize, columns, rows, layers);
        });
        rest %= plane;
    }
    launcher.InLayers(rest / columns, rows,
                      [&](size_t layers) { launcher.Launch(mainKernel, 3, groupSize, columns, layers, 1); });
    if (rest % columns > 0) launcher.Launch(tailKernel, 3, 0, rest % columns, 1, 1);
    return launcher.Finish();
}

}  // namespace nuvra
