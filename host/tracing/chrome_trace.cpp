#include "chrome_trace.h"

#include "nuvra/host/tracing.h"

namespace nuvra::host {

namespace {

constexpr Int64 kPatience = 1'000'000'000;  // nanoseconds

/// How every trace file begins; `HoldsTrace` looks for it.
constexpr std::string_view kBeginning =
    "[\n"
    R"({"name":"process_name","ph":"M","pid":1,"args":{"name":"OpenCL calls"}})";

/// "clEnqueueNDRangeKernel ScaleBicubic", "clCreateBuffer: CL_OUT_OF_RESOURCES"
void AppendTitle(std::string& out, const Call& call) {
    std::string title = call.name;
    if (!call.kernel.empty()) title += ' ' + call.kernel;
    if (call.hasFailed) {
        const Value* result = call.results.Find("result");
        const bool hasCode = result != nullptr && result->form != Form::NOTHING;
        title += ": ";
        title += hasCode ? call.results.GetText(*result) : "failed";
    }
    // Names of known functions need no escaping.
    if (call.function == nullptr || !call.isKernelPlain) return AppendQuoted(out, title);
    out += '"';
    out += title;
    out += '"';
}

void AppendAttachments(std::string& out, const std::vector<Attachment>& attachments) {
    out += '{';
    for (const Attachment& one : attachments) {
        if (&one != &attachments.front()) out += ',';
        out += one.isText ? "\"text" : "\"bytes";
        if (one.index >= 0) out += '[' + std::to_string(one.index) + ']';
        out += "\":";
        if (one.isText)
            AppendQuoted(out, one.text);
        else
            out += std::to_string(one.size);
    }
    out += '}';
}

void AppendDetails(std::string& out, const Call& call) {
    const bool hasArguments = call.kind != CallKind::AFTER;
    if (hasArguments) {
        out += "\"arguments\":";
        AppendJson(out, call.arguments);
    }
    if (call.kind == CallKind::CALL || call.kind == CallKind::AFTER) {
        out += hasArguments ? ",\"results\":" : "\"results\":";
        AppendJson(out, call.results);
    }
    if (!call.attachments.empty()) {
        out += ",\"attached\":";
        AppendAttachments(out, call.attachments);
    }
}

/// The event's type, and how long it took.
void AppendPhase(std::string& out, const Call& call) {
    if (call.kind == CallKind::OPEN) {
        out += "\"B\"";
    } else if (call.kind == CallKind::CALL) {
        out += "\"X\",\"dur\":";
        AppendTime(out, call.end - call.begin, 3);
    } else {
        out += call.kind == CallKind::COMMENT ? R"("i","s":"g")" : R"("i","s":"t")";
    }
}

}  // namespace

bool HoldsTrace(const std::filesystem::path& file) {
    return ReadBeginning(file, kBeginning.size()) == kBeginning;
}

ChromeTrace::ChromeTrace(const std::filesystem::path& path) : _file(path, stdout, kPatience) {
    _file.BeginRecord() = kBeginning;
    _file.Commit(0);
}

void ChromeTrace::Write(const Call& call) {
    if (!_file.GetProblem().empty()) return;
    std::string& out = _file.BeginRecord();
    out += ",\n{\"name\":";
    AppendTitle(out, call);
    out += call.hasFailed ? R"(,"cat":"OpenCL,failed","cname":"terrible","ph":)" : R"(,"cat":"OpenCL","ph":)";
    AppendPhase(out, call);
    out += ",\"ts\":";
    AppendTime(out, call.begin, 3);
    out += ",\"pid\":1,\"tid\":";
    out += std::to_string(call.thread);
    out += ",\"args\":{";
    AppendDetails(out, call);
    out += "}}";
    _file.Commit(call.end);
}

void ChromeTrace::Finish() noexcept {
    _file.Close("\n]\n");
}

}  // namespace nuvra::host
