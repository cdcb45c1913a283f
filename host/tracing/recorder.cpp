#include "recorder.h"

#include <algorithm>
#include <utility>

#include "call_log.h"
#include "chrome_trace.h"
#include "decoder.h"
#include "nuvra/host/error_names.h"

namespace nuvra::host {

namespace {

/// The object whose handle is an event's first value.
struct Subject {
    ObjectKind kind = ObjectKind::NONE;  ///< NONE when the first value is not a handle
    const void* handle = nullptr;
};

Subject FindSubject(const Call& call, std::string_view code) {
    const Signature* signature = call.function == nullptr ? nullptr : call.function->Find(code);
    if (signature == nullptr || call.arguments.GetList().empty()) return {};
    const auto* handle = reinterpret_cast<const void*>(call.arguments.GetList().front().raw);
    return handle == nullptr ? Subject() : Subject{signature->parameters.front().kind, handle};
}

CallEffect GetEffect(const Call& call) {
    return call.function != nullptr ? call.function->effect : CallEffect::NONE;
}

/// The value of the function's first parameter with the meaning and kind; null when the call has none.
const Value* FindArgument(const Call& call, Meaning meaning, ObjectKind kind = ObjectKind::NONE) {
    const Parameter* parameter = call.function != nullptr ? call.function->Find(meaning, kind) : nullptr;
    return parameter != nullptr ? call.arguments.Find(parameter->name) : nullptr;
}

}  // namespace

Recorder::Recorder(const TracingOptions& options)
    : _isCapturing(!options.traceFile.empty()),
      _countsCalls(options.countsCalls),
      _keepsMakers(options.keepsMakers),
      _isSerialized(options.isSerialized) {
    if (!options.traceFile.empty()) _sinks.push_back(std::make_unique<ChromeTrace>(options.traceFile));
    if (!options.logFile.empty()) _sinks.push_back(std::make_unique<CallLog>(options.logFile));
}

Int64 Recorder::Now() const {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - _start).count();
}

Call& Recorder::Open(UInt64 thread, const char* name) {
    if (_idle.empty()) _idle.push_back(std::make_unique<Call>());
    _open.push_back(std::move(_idle.back()));
    _idle.pop_back();
    Call& call = *_open.back();
    call.kind = CallKind::OPEN;
    call.name = GetFunctionName(name);
    call.function = FindFunction(call.name);
    call.kernel.clear();
    call.isKernelPlain = true;
    call.thread = thread;
    call.cookie = ++_latestCookie;
    call.arguments.Clear();
    call.results.Clear();
    call.hasFailed = false;
    call.attachments.clear();
    call.released = {};
    return call;
}

Call* Recorder::FindOpen(UInt64 thread, const char* name) const {
    const auto found =
        std::find_if(_open.rbegin(), _open.rend(), [&](const auto& call) { return call->thread == thread; });
    return found != _open.rend() && (*found)->name == GetFunctionName(name) ? found->get() : nullptr;
}

void Recorder::Close(Call& call) {
    const auto found = std::ranges::find(_open, &call, [](const auto& one) { return one.get(); });
    _idle.push_back(std::move(*found));
    _open.erase(found);
}

void Recorder::Write(const Call& call) {
    if (_countsCalls) _table.Write(call);
    for (const auto& sink : _sinks) sink->Write(call);
}

/// What the event does to objects.
void Recorder::NoteObjects(Call& call, std::string_view code) {
    const Subject subject = FindSubject(call, code);
    if (subject.kind == ObjectKind::NONE) return;
    switch (GetEffect(call)) {
        case CallEffect::RELEASES:
            call.released = _handles.BeginRelease(subject.kind, subject.handle);
            break;
        case CallEffect::NAMES:
            if (const Value* label = FindArgument(call, Meaning::LABEL))
                _handles.Find(subject.kind, subject.handle).SetName(call.arguments.GetText(*label));
            break;
        case CallEffect::LAUNCHES:
            NoteKernel(call);
            break;
        default:
            break;
    }
}

void Recorder::NoteKernel(Call& call) {
    const Value* kernel = FindArgument(call, Meaning::HANDLE, ObjectKind::KERNEL);
    if (kernel == nullptr || kernel->raw == 0) return;
    const auto& object = _handles.Find(ObjectKind::KERNEL, reinterpret_cast<const void*>(kernel->raw));
    call.kernel = object.name;
    call.isKernelPlain = object.isPlain;
}

UInt32 Recorder::Begin(UInt64 thread, const char* name, const char* code, va_list values) {
    const std::lock_guard lock(_mutex);
    if (_isFinished) return 0;
    Call& call = Open(thread, name);
    const UInt32 cookie = call.cookie;
    const std::string_view letters = code;
    Decode({call.function, letters}, values, _handles, call.arguments);
    NoteObjects(call, letters);
    call.begin = Now();  // last, so that decoding is not part of the call's time
    if (letters.ends_with('x')) return cookie;
    call.kind = CallKind::BEFORE;
    call.end = call.begin;
    Write(call);
    Close(call);
    return cookie;
}

void Recorder::End(UInt64 thread, const char* name, const char* code, va_list values) {
    const Int64 end = Now();  // first, for the same reason as in `Begin`
    std::unique_lock lock(_mutex);
    if (_isFinished) return;
    Call* open = FindOpen(thread, name);
    Call& call = open != nullptr ? *open : Open(thread, name);
    if (open == nullptr) call.begin = end;
    ReadResults(call, code, values);
    const CallEffect effect = GetEffect(call);
    const bool isEnqueue = effect == CallEffect::ENQUEUES || effect == CallEffect::LAUNCHES;
    const Int64 waited =
        open != nullptr && _isSerialized && isEnqueue && !call.hasFailed ? WaitForQueue(call, lock) : 0;
    call.kind = open != nullptr ? CallKind::CALL : CallKind::AFTER;
    call.end = end + waited;
    if (!_isFinished) Write(call);
    Close(call);
}

void Recorder::ReadResults(Call& call, const char* code, va_list values) {
    const Outcome outcome = Decode({call.function, code, &call.arguments}, values, _handles, call.results);
    call.hasFailed = outcome.hasFailed;
    if (call.hasFailed) _handles.UndoRelease(std::move(call.released));
    if (outcome.created == nullptr || !_keepsMakers) return;
    std::string& maker = outcome.created->maker;
    maker.clear();
    AppendTime(maker, call.begin, 6);
    maker += " ms, thread " + std::to_string(call.thread) + ": ";
    AppendCall(maker, call);
}

/// Waits for the call's command without holding the lock. Gives the time that it took.
Int64 Recorder::WaitForQueue(Call& call, std::unique_lock<std::mutex>& lock) {
    const auto finish = _finish.load();
    const Value* queue = FindArgument(call, Meaning::HANDLE, ObjectKind::QUEUE);
    if (finish == nullptr || queue == nullptr) return 0;
    lock.unlock();
    const Int64 begin = Now();
    const cl_int code = finish(reinterpret_cast<cl_command_queue>(queue->raw));
    const Int64 end = Now();
    lock.lock();
    if (code == CL_SUCCESS) return end - begin;
    const std::string_view name = FindErrorName(code);
    Value& added = call.results.Add("finished", Form::TEXT);
    call.results.GetTexts() += name.empty() ? std::to_string(code) : name;
    call.results.End(added);
    return end - begin;
}

void Recorder::Attach(UInt32 cookie, bool isText, Int size, const void* data, Int index) {
    const std::lock_guard lock(_mutex);
    const auto found = std::ranges::find(_open, cookie, [](const auto& call) { return call->cookie; });
    if (_isFinished || found == _open.end()) return;
    Attachment& attachment = (*found)->attachments.emplace_back(Attachment{index, size, isText});
    const auto* text = static_cast<const char*>(data);
    if (isText && text != nullptr)
        attachment.text = size > 0 ? std::string(text, static_cast<size_t>(size)) : std::string(text);
    (*found)->begin = Now();
}

void Recorder::Comment(const char* text) {
    const std::lock_guard lock(_mutex);
    if (_isFinished) return;
    Call& call = Open(0, text);
    call.kind = CallKind::COMMENT;
    call.begin = call.end = Now();
    Write(call);
    Close(call);
}

void Recorder::NoteSymbol(std::string_view name, void* address) {
    if (name == "clFinish") _finish = reinterpret_cast<decltype(&::clFinish)>(address);
}

void Recorder::Finish() noexcept {
    const std::lock_guard lock(_mutex);
    if (std::exchange(_isClosed, true)) return;
    try {
        // After `Stop` the open calls may be incomplete.
        if (!_isFinished.exchange(true))
            for (const auto& call : _open) Write(*call);
    } catch (...) {
        Stop(kOutOfMemory);
    }
    for (const auto& sink : _sinks) sink->Finish();
}

void Recorder::Stop(const char* problem) noexcept {
    _problem = problem;
    _isFinished = true;
}

std::vector<std::string> Recorder::GetProblems() const {
    const std::lock_guard lock(_mutex);
    std::vector<std::string> problems;
    if (const char* problem = _problem) problems.emplace_back(problem);
    for (const auto& sink : _sinks)
        if (std::string problem = sink->GetProblem(); !problem.empty())
            problems.push_back(std::move(problem));
    return problems;
}

std::string Recorder::GetCallTable() const {
    const std::lock_guard lock(_mutex);
    return _table.ToText();
}

std::vector<std::string> Recorder::GetLeaks() const {
    const std::lock_guard lock(_mutex);
    std::vector<std::string> lines;
    for (const Handles::Object* object : _handles.FindLeaks()) {
        std::string& line = lines.emplace_back(object->label);
        if (!object->maker.empty()) line += ", made at " + object->maker;
    }
    return lines;
}

Int Recorder::CountCreated() const {
    const std::lock_guard lock(_mutex);
    return _handles.CountCreated();
}

}  // namespace nuvra::host
