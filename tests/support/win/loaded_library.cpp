#include "loaded_library.h"

#include <windows.h>

#include "nuvra/host/file_name.h"

namespace nuvra::test {

bool IsLoaded(const std::string& file) {
    return GetModuleHandleW(std::filesystem::absolute(host::ToPath(file)).c_str()) != nullptr;
}

namespace {

/// The words in the system's language, up to what they are about.
std::string WordsFor(DWORD code) {
    wchar_t words[512];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        code, 0, words, static_cast<DWORD>(std::size(words)), nullptr);
    const std::string text = host::ToText(std::wstring(words, length));
    return text.substr(0, text.find_first_of("%\r\n"));
}

}  // namespace

std::string WordsForNoLibrary() {
    return WordsFor(ERROR_BAD_EXE_FORMAT);
}

std::string WordsForNoFile() {
    return WordsFor(ERROR_MOD_NOT_FOUND);
}

std::string WordsForNoSymbol() {
    return WordsFor(ERROR_PROC_NOT_FOUND);
}

const char* const kSystemLibrary = "msvcrt.dll";

}  // namespace nuvra::test
