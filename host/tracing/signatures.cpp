#include "signatures.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace nuvra::host {

namespace {

/// How the rows of the functions call the meanings.
constexpr Parameter kMeanings[] = {
    {"error", Meaning::ERROR},
    {"address", Meaning::ADDRESS},
    {"number", Meaning::NUMBER},
    {"type", Meaning::DEVICE_TYPE},
    {"format", Meaning::IMAGE_FORMAT},
    {"label", Meaning::LABEL},
    {"question", Meaning::QUESTION},
    {"room", Meaning::ROOM},
    {"answer", Meaning::ANSWER},
    {"written", Meaning::WRITTEN},
    {"platform", Meaning::HANDLE, ObjectKind::PLATFORM},
    {"device", Meaning::HANDLE, ObjectKind::DEVICE},
    {"context", Meaning::HANDLE, ObjectKind::CONTEXT},
    {"queue", Meaning::HANDLE, ObjectKind::QUEUE},
    {"buffer", Meaning::HANDLE, ObjectKind::BUFFER},
    {"image", Meaning::HANDLE, ObjectKind::IMAGE},
    {"memory", Meaning::HANDLE, ObjectKind::MEMORY},
    {"program", Meaning::HANDLE, ObjectKind::PROGRAM},
    {"kernel", Meaning::HANDLE, ObjectKind::KERNEL},
    {"event", Meaning::HANDLE, ObjectKind::EVENT},
};

constexpr const Parameter* FindMeaning(std::string_view name) {
    return std::ranges::find(kMeanings, name, &Parameter::name);
}

/// The signatures of one kind that a function may have; those that it has not are empty.
using Signatures = std::array<std::string_view, 4>;

template <class... Texts>
constexpr Signatures ListSignatures(Texts... texts) {
    Signatures signatures;
    if constexpr (sizeof...(texts) > 0)
        std::ranges::copy(std::array{std::string_view(texts)...}, signatures.begin());
    return signatures;
}

struct Row {
    std::string_view name;
    CallEffect effect;
    Signatures ofArguments;
    Signatures ofOthers;  ///< of results, or of an event that no call belongs to
};

constexpr Row kRows[] = {
#define OPENCL_EXTENSION_FUNCTION(name, effect, before, after) \
    {#name, CallEffect::effect, ListSignatures before, ListSignatures after},
#define OPENCL_FUNCTION(presence, name, effect, before, after) \
    OPENCL_EXTENSION_FUNCTION(name, effect, before, after)
#define OPENCL_EVENT(name, effect, signature) \
    {#name, CallEffect::effect, ListSignatures(), ListSignatures(signature)},
#include "nuvra/opencl_functions.def"
};

/// Whether all that the signatures mean is in `kMeanings`.
constexpr bool AreMeaningsKnown(const Signatures& signatures) {
    for (std::string_view rest : signatures)
        while (!rest.empty()) {
            const std::string_view meaning = TakeSignatureValue(rest).meaning;
            if (!meaning.empty() && FindMeaning(meaning) == std::end(kMeanings)) return false;
        }
    return true;
}
static_assert(std::ranges::all_of(kRows, [](const Row& row) {
    return AreMeaningsKnown(row.ofArguments) && AreMeaningsKnown(row.ofOthers);
}));

Parameter MakeParameter(const SignatureValue& value) {
    Parameter parameter;
    if (!value.meaning.empty()) parameter = *FindMeaning(value.meaning);
    parameter.name = value.name;
    parameter.letter = value.letters.back();
    return parameter;
}

void AddSignatures(Function& function, const Signatures& signatures, bool areOfArguments) {
    for (std::string_view rest : signatures) {
        if (rest.empty()) continue;
        Signature& signature = function.signatures.emplace_back();
        signature.code = MakeTraceCode(rest, areOfArguments);
        while (!rest.empty())
            if (const SignatureValue value = TakeSignatureValue(rest); value.letters != "-")
                signature.parameters.push_back(MakeParameter(value));
    }
}

using Functions = std::unordered_map<std::string_view, Function>;

Functions MakeFunctions() {
    Functions functions;
    for (const Row& row : kRows) {
        Function function{row.name, row.effect, {}};
        AddSignatures(function, row.ofArguments, true);
        AddSignatures(function, row.ofOthers, false);
        if (!function.signatures.empty()) functions.emplace(row.name, std::move(function));
    }
    return functions;
}

}  // namespace

const Signature* Function::Find(std::string_view code) const {
    const auto found =
        std::ranges::find(signatures, code, [](const Signature& one) { return one.code.GetView(); });
    return found != signatures.end() ? &*found : nullptr;
}

const Parameter* Function::Find(Meaning meaning, ObjectKind kind) const {
    for (const Signature& signature : signatures)
        for (const Parameter& parameter : signature.parameters)
            if (parameter.meaning == meaning && parameter.kind == kind) return &parameter;
    return nullptr;
}

const Function* FindFunction(std::string_view name) {
    static const Functions& functions = *new Functions(MakeFunctions());
    const auto found = functions.find(name);
    return found != functions.end() ? &found->second : nullptr;
}

std::string_view GetFunctionName(std::string_view traceName) {
    constexpr std::string_view kPrefix = "nuvra::OpenCLInterface::";
    return traceName.starts_with(kPrefix) ? traceName.substr(kPrefix.size()) : traceName;
}

}  // namespace nuvra::host
