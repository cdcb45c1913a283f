#include "settings.h"

#include <atomic>

namespace nuvra::host {

namespace {
std::atomic<const Options*> g_settings{nullptr};
}

const Options& GetSettings() {
    static const Options& defaults = *new Options;  // objects may outlive every static object
    const Options* options = g_settings.load(std::memory_order_acquire);
    return options != nullptr ? *options : defaults;
}

void SetSettings(const Options* options) {
    g_settings.store(options, std::memory_order_release);
}

bool MayAllocate(Int size) {
    const Options* options = g_settings.load(std::memory_order_acquire);
    return options == nullptr || !options->allow || options->allow(size);
}

}  // namespace nuvra::host
