#include "call.h"

namespace nuvra::host {

void AppendCall(std::string& out, const Call& call) {
    if (call.kind == CallKind::COMMENT) return AppendQuoted(out, call.name);
    AppendPlain(out, call.name);
    if (call.kind != CallKind::AFTER) {
        out += '(';
        AppendReadable(out, call.arguments);
        out += ')';
    }
    if (call.kind == CallKind::CALL || call.kind == CallKind::AFTER) {
        out += " -> ";
        AppendReadable(out, call.results);
    }
}

}  // namespace nuvra::host
