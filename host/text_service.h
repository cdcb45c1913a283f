#pragma once

#include "nuvra/string.h"

namespace nuvra::host {

/// The buffer of a `String` for non-empty C text, decoded as `String::FromCText` says; null when out of
/// memory.
TextBuffer* NewStringBuffer(std::string_view text);

}  // namespace nuvra::host
