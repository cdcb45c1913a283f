#include "call_log.h"

namespace nuvra::host {

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
