#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "nuvra/host/host.h"

namespace nuvra::test {

using Texts = std::vector<std::string>;

/// Source units join it, so that a test can implement interfaces.
extern host::Program g_program;

/// Counts the allocations of a host and makes some fail.
class AllocationGate {
public:
    /// The allocation `distance` after the next one fails, and with `onwards` all after it.
    void FailFrom(Int distance, bool onwards = false) {
        _last = onwards ? kNever : _asked + distance;
        _first = _asked + distance;
    }
    void FailAll() { FailFrom(0, true); }
    void FailNone() { _first = kNever; }
    Int GetCount() const { return _asked; }
    bool Allows() {
        const Int index = _asked++;
        return index < _first || index > _last;
    }

private:
    static constexpr Int kNever = std::numeric_limits<Int>::max();
    std::atomic<Int> _asked{0};
    std::atomic<Int> _first{kNever};
    std::atomic<Int> _last{kNever};
};

class TestHost {
public:
    explicit TestHost(std::map<std::string, std::string> redirects = {},
                      std::shared_ptr<host::Tracing> tracing = {});

    /// Adds the test program's module and the libraries, and starts them.
    Result<void> Start(const Texts& libraries = {});

    AllocationGate allocations;
    Texts diagnostics;  ///< written on the test's own thread
    host::Host host;
};

template <class T>
std::string ErrorText(const Result<T>& result) {
    return std::string(result.GetError().GetMessage().GetView());
}

template <class T>
std::string ErrorClass(const Result<T>& result) {
    return result.IsOk() ? "" : result.GetError().GetClassId();
}

template <class T>
testing::AssertionResult IsOk(const Result<T>& result) {
    if (result.IsOk()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << ErrorClass(result) << ": " << ErrorText(result);
}

String MakeText(std::string_view text);

}  // namespace nuvra::test
