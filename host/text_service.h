#pragma once

#include "nuvra/string.h"

namespace nuvra::host {

/// The buffer of a `String` for C text that is not empty, decoded as `String::FromCText` says; null when the
/// memory cannot be had.
TextBuffer* NewStringBuffer(std::string_view text);

}  // namespace nuvra::host
