#pragma once

#include "call.h"
#include "record_file.h"

namespace nuvra::host {

/// Writes trace events in the JSON array form that Perfetto and chrome://tracing load, complete or cut short.
class ChromeTrace : public CallSink {
public:
    /// "-" is standard output.
    explicit ChromeTrace(const std::filesystem::path& path);

    void Write(const Call& call) override;
    void Finish() noexcept override;
    std::string GetProblem() const override { return _file.GetProblem(); }

private:
    RecordFile _file;
};

}  // namespace nuvra::host
