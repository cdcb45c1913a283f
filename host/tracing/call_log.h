#pragma once

#include "call.h"
#include "record_file.h"

namespace nuvra::host {

/// Writes a line for each call when it ends.
class CallLog : public CallSink {
public:
    /// "-" is standard error.
    explicit CallLog(const std::filesystem::path& path) : _file(path, stderr, 0) {}

    void Write(const Call& call) override;
    void Finish() noexcept override { _file.Close(); }
    std::string GetProblem() const override { return _file.GetProblem(); }

private:
    RecordFile _file;
};

}  // namespace nuvra::host
