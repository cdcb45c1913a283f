#pragma once

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "nuvra/types.h"

/// The letters of signature codes, and how the rows of `opencl_functions.def` are read.
namespace nuvra {

/// As what a value is passed.
enum class LetterType { INT32, UINT32, SIZE, UINT64, FLOAT32, FLOAT64, POINTER, TEXT, PROPERTIES };

enum class LetterKind {
    PLAIN,
    CONSTANT,  ///< one of the headers' constants
    QUERY,     ///< the constant of a query
    BITS,      ///< constants joined
};

struct TraceLetter {
    char letter;
    LetterType type;
    LetterKind kind = LetterKind::PLAIN;
};

inline constexpr TraceLetter kTraceLetters[] = {
    {'i', LetterType::INT32},
    {'u', LetterType::UINT32},
    {'s', LetterType::SIZE},
    {'p', LetterType::POINTER},                       // untyped
    {'P', LetterType::POINTER},                       // an object's handle
    {'T', LetterType::TEXT},                          // zero-terminated
    {'r', LetterType::PROPERTIES},                    // zero-terminated list of pointer-sized pairs
    {'b', LetterType::UINT32, LetterKind::CONSTANT},  // cl_bool
    {'E', LetterType::UINT32, LetterKind::CONSTANT},  // OpenGL enumerator
    {'m', LetterType::UINT32, LetterKind::QUERY},     // cl_platform_info
    {'n', LetterType::UINT32, LetterKind::QUERY},     // cl_device_info
    {'v', LetterType::UINT32, LetterKind::QUERY},     // cl_program_info, cl_program_build_info
    {'Y', LetterType::UINT32, LetterKind::QUERY},     // cl_kernel_work_group_info
    {'V', LetterType::UINT32, LetterKind::QUERY},     // cl_gl_context_info
    {'N', LetterType::UINT64},                        // a number, or cl_device_type
    {'w', LetterType::UINT64, LetterKind::BITS},      // cl_mem_flags
    {'W', LetterType::UINT64, LetterKind::BITS},      // cl_map_flags
    {'R', LetterType::UINT64, LetterKind::BITS},      // cl_command_queue_properties
    {'f', LetterType::FLOAT32},                       // in arrays only
    {'F', LetterType::FLOAT64},                       // in arrays only
};

/// Null for an unknown letter, "a" and "x" among them.
constexpr const TraceLetter* FindTraceLetter(char letter) {
    const auto* found = std::ranges::find(kTraceLetters, letter, &TraceLetter::letter);
    return found == std::end(kTraceLetters) ? nullptr : found;
}

/// What a call is to a tracer.
enum class CallEffect {
    NONE,
    RELEASES,  ///< the object that the first argument is
    ENQUEUES,  ///< a command, on its first queue
    LAUNCHES,  ///< enqueues its first kernel
    NAMES,     ///< gives the first value's object the label
};

/// One value of a signature.
struct SignatureValue {
    std::string_view letters;
    std::string_view meaning;  ///< mostly empty
    std::string_view name;
};

/// Takes the first value off a signature that is not empty.
constexpr SignatureValue TakeSignatureValue(std::string_view& signature) {
    const std::string_view text = signature.substr(0, signature.find(','));
    signature.remove_prefix(std::min(text.size() + 2, signature.size()));
    const size_t space = text.find(' ');
    const size_t colon = std::min(text.find(':'), space);
    return {text.substr(0, colon),
            text.substr(std::min(colon + 1, space), space - std::min(colon + 1, space)),
            text.substr(space + 1)};
}

/// A signature's letters as a tracer gets them: zero-terminated, without the arguments that are not traced.
struct TraceCode {
    std::array<char, 24> letters{};
    size_t size = 0;

    constexpr void Append(std::string_view more) {
        for (const char letter : more) letters[size++] = letter;
    }
    constexpr std::string_view GetView() const { return {letters.data(), size}; }
};

/// The code of a signature; that of arguments ends with an "x".
constexpr TraceCode MakeTraceCode(std::string_view signature, bool isOfArguments) {
    TraceCode code;
    while (!signature.empty()) {
        const std::string_view letters = TakeSignatureValue(signature).letters;
        if (letters != "-") code.Append(letters);
    }
    if (isOfArguments) code.Append("x");
    return code;
}

}  // namespace nuvra
