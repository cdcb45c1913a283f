#include "call_log.h"

#include <cstdio>

#include "nuvra/host/tracing.h"

namespace nuvra::host {

bool HoldsLog(const std::filesystem::path& file) {
    constexpr size_t kLongest = 80;  // bytes of a line's times and thread
    int length = 0;
    static_cast<void>(std::sscanf(ReadBeginning(file, kLongest).c_str(),
                                  "%*[0-9].%*6[0-9] ms, thread %*[0-9]: %n", &length));
    return length > 0;
}

void CallLog::Write(const Call& call) {
    std::string& line = _file.BeginRecord();
    AppendTime(line, call.begin, 6);
    line += " ms, thread " + std::to_string(call.thread) + ": ";
    AppendCall(line, call);
    if (call.kind == CallKind::CALL) {
        line += ", ";
        AppendTime(line, call.end - call.begin, 3);
        line += " us";
    } else if (call.kind == CallKind::OPEN) {
        line += " has not ended";
    }
    if (call.hasFailed) line += ", FAILED";
    line += '\n';
    _file.Commit(call.end);
}

}  // namespace nuvra::host
