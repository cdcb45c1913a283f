#pragma once

#include "nuvra/interface.h"

namespace zoo {

/// Implemented by a test that wants to know in which order modules start and end.
struct OrderLog {
    static constexpr nuvra::Id kId{"zoo.OrderLog#1"};
    static constexpr const char* kHeader = "zoo.h";
    static constexpr bool kOptional = true;

    struct Operations {
        void (*Write)(const char* event);
    };
};
inline void Log(const char* event) {
    if (const auto* log = nuvra::Table<OrderLog>()) log->Write(event);
}

/// Implemented by the module "zoo.server" and used by "zoo.user", neither of which names the other.
struct Served : OrderLog {
    static constexpr nuvra::Id kId{"zoo.Served#1"};
    static constexpr bool kOptional = false;
};

/// Implemented by nobody, and nobody says where it is declared.
struct Absent : Served {
    static constexpr nuvra::Id kId{"zoo.Absent#1"};
    static constexpr const char* kHeader = nullptr;
};

/// An interface of the class "zoo.Counter".
struct Counter {
    static constexpr nuvra::Id kId{"zoo.Counter#1"};

    struct Operations {
        nuvra::Int (*Next)(void* component);
    };
};

}  // namespace zoo
