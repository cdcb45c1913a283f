#pragma once

#include "nuvra/dll.h"

namespace nuvra {

class UrlImpl : public ObjectHeader {
public:
    Id scheme;
    String path;
};

}  // namespace nuvra
