#pragma once

#include "sides.h"
#include "table.h"

namespace nuvra::bench {

/// The rows of calls. The module is on the runtime that the program is linked with.
class Calls {
public:
    /// The rows refer to this object. `withLimits` gives them limits in nanoseconds, which mean something
    /// only on a runtime that returns at once.
    std::vector<Row> GetRows(bool withLimits);

private:
    Bare _bare;
    Module _module;
    Header _header{_bare};
    Boost _boost{_bare};
};

}  // namespace nuvra::bench
