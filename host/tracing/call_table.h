#pragma once

#include <map>

#include "call.h"

namespace nuvra::host {

/// Counts the calls.
class CallTable : public CallSink {
public:
    void Write(const Call& call) override;

    /// The functions with the most time first, each launched kernel on a line of its own beneath.
    std::string ToText() const;

private:
    struct Row {
        Int count = 0;
        Int timed = 0;  ///< those with a before and an after event
        Int failed = 0;
        Int64 total = 0;  ///< nanoseconds, like the next two
        Int64 shortest = 0;
        Int64 longest = 0;

        void Add(const Call& call);
    };
    struct FunctionRow : Row {
        std::map<std::string, Row> kernels;
    };

    static void AppendRow(std::string& out, std::string_view indent, const std::string& name, const Row& row);

    std::map<std::string, FunctionRow> _rows;
};

}  // namespace nuvra::host
