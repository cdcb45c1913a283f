#include "opencl_error.h"

#include <algorithm>
#include <iterator>

#include "module_records.h"

namespace nuvra {

ErrorRef OpenCLError(Int32 code, SourceLocation location) {
    ErrorRef error = NewError<OpenCLErrorObject>(nullptr, location);
    OpenCLErrorRef(error).SetErrorCode(code);
    return error;
}

namespace {

struct ErrorText {
    Int32 code;
    const char* text;
};
constexpr ErrorText kErrorTexts[] = {
#define OPENCL_OWN_ERROR(name, code, text) {code, text},
#define OPENCL_ERROR(name, code) {code, "CL_" #name},
#include "nuvra/opencl_errors.def"
};

const char* TextOf(Int32 code) {
    const auto* found = std::ranges::find(kErrorTexts, code, &ErrorText::code);
    return found != std::end(kErrorTexts) ? found->text : "";
}

/// The error class's component.
struct OpenCLErrorImpl {
    Int32 code = 0;
    std::atomic<bool> isMessageStale{false};  ///< the stored message is older than the code
};

String GetMessage(Object* error, void* component) noexcept {
    auto* self = static_cast<OpenCLErrorImpl*>(component);
    const ErrorRef reference(error);
    if (self->isMessageStale.load(std::memory_order_acquire)) {
        const Result<String> text = String::FromCText(TextOf(self->code));
        if (!text.IsOk()) return String();  // still stale: the next call may find memory
        // Concurrent calls store the same text. Cleared last: who sees it cleared finds the text stored.
        reference.SetMessage(text.GetValue());
        self->isMessageStale.store(false, std::memory_order_release);
    }
    return reference.Invoke<&ErrorInterface::Operations::GetStoredMessage>();
}

Int32 GetErrorCode(void* component) noexcept {
    return static_cast<OpenCLErrorImpl*>(component)->code;
}

void SetErrorCode(void* component, Int32 code) noexcept {
    auto* self = static_cast<OpenCLErrorImpl*>(component);
    self->code = code;
    self->isMessageStale = true;
}

Result<void> Describe(BaseArray<MemberDescription>& members) noexcept {
    return members.Append({"_errorCode", DataTypeTraits<UInt32>::kId, offsetof(OpenCLErrorImpl, code)});
}

Result<void> Copy(void* to, const void* from) noexcept {
    auto& copy = *static_cast<OpenCLErrorImpl*>(to);
    const auto& original = *static_cast<const OpenCLErrorImpl*>(from);
    copy.code = original.code;
    copy.isMessageStale = original.isMessageStale.load();
    return {};
}

constexpr OpenCLErrorInterface::Operations kOperations{
    .Reserved = nullptr,
    .GetErrorCode = GetErrorCode,
    .SetErrorCode = SetErrorCode,
};
/// The other operations are not overridden.
constexpr ErrorInterface::Operations kMessageOverride = [] {
    ErrorInterface::Operations operations{};
    operations.GetMessage = GetMessage;
    return operations;
}();
constexpr ComponentOperations kComponentOperations{
    .construct = [](void* data) { new (data) OpenCLErrorImpl; },
    .destroy = [](void*) {},
    .copy = Copy,
    .describe = Describe,
};
constexpr ComponentInterface kInterfaces[] = {
    {OpenCLErrorInterface::kId, &kOperations, kOperationCount<OpenCLErrorInterface>},
    {ErrorInterface::kId, &kMessageOverride, kOperationCount<ErrorInterface>},
};
constexpr Id kComponentId{"net.nuvra.opencl.error"};

constinit ComponentRecord g_component{{{RecordKind::COMPONENT, kComponentId}, nullptr},
                                      ".OpenCLErrorImpl",
                                      sizeof(OpenCLErrorImpl),
                                      alignof(OpenCLErrorImpl),
                                      &kComponentOperations,
                                      kInterfaces,
                                      2};
constinit ClassRecord g_class{{{RecordKind::CLASS, OpenCLErrorObject::kId, nullptr, kDeclaration}, nullptr},
                              "nuvra.ErrorObject",
                              &kComponentId,
                              1};

SourceUnit g_unit{g_openCLModule, "opencl_error", {&g_component, &g_class}};

}  // namespace

}  // namespace nuvra
