#pragma once

#include <new>
#include <optional>
#include <stdexcept>
#include <string>

#include "console/failure.h"
#include "nuvra/types.h"

namespace CLI {
class App;
}

namespace nuvra::app {

/// What a picture takes, as its file or the command line claims it.
struct PictureClaim {
    Int64 width;  ///< pixels
    Int64 height;
    double bytes;  ///< of memory, those of its reader included
};

/// The bound on a picture's memory: a file of a few bytes can claim any size, and a reader allocates what is
/// claimed before it finds less.
class MemoryLimit {
public:
    void AddTo(CLI::App& app);

    /// Throws the `Failure` "cannot read NAME: ..." where the claim of a file is beyond the limit.
    void CheckFile(const std::string& name, const PictureClaim& claim) const;
    /// Throws the `Failure` "cannot make NAME: ..." where a picture to be made is beyond the limit.
    void CheckResult(const std::string& name, const PictureClaim& claim) const;

private:
    std::optional<Int64> _bytes;
};

/// "234 bytes", "1.5 GiB".
std::string DescribeBytes(double bytes);

/// Runs `work`; turns `std::bad_alloc` and `std::length_error` into the `Failure` of text `failure`.
template <class Work>
auto WithMemoryFor(const Work& work, const std::string& failure) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        throw Failure(failure);
    } catch (const std::length_error&) {
        throw Failure(failure);
    }
}

}  // namespace nuvra::app
