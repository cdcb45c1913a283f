#include "pictures/memory_limit.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include "console/values.h"
#include "nuvra/host/file_name.h"
#include "pictures/geometry.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

// A file that is given no limit may take this much, which readers find not to be there within a second, and
// for each of its bytes as much as PNG makes of one at best: 1032 bytes of 1-bit samples, which become four
// bytes each.
constexpr double kSmallestLimit = 384.0 * (1 << 20);
constexpr double kBytesPerByte = 32 << 10;

double GetMachineLimit() {
    return static_cast<double>(GetMachineMemory()) / 2;
}

void Check(const std::string& failure, const PictureClaim& claim, double limit, const std::string& whose) {
    if (claim.bytes <= limit) return;
    throw Failure(failure + ": its " + DescribeSize(claim.width, claim.height) + " pixels need " +
                  DescribeBytes(claim.bytes) + " of memory, and the limit" + whose + " is " +
                  DescribeBytes(limit) + " (see --max-memory)");
}

}  // namespace

void MemoryLimit::AddTo(CLI::App& app) {
    app.add_option_function<std::string>(
           "--max-memory", [this](const std::string& text) { _bytes = ParseByteCount("--max-memory", text); },
           "Refuse pictures that need more memory, 4G for example (half of the machine's; for a small file\n"
           "384M and 32K for each of its bytes)")
        ->type_name("SIZE");
}

void MemoryLimit::CheckFile(const std::string& name, const PictureClaim& claim) const {
    const std::string failure = "cannot read " + Quote(name);
    if (_bytes) return Check(failure, claim, static_cast<double>(*_bytes), "");
    const auto size = static_cast<double>(std::filesystem::file_size(host::ToPath(name)));
    Check(failure, claim, std::min(GetMachineLimit(), kSmallestLimit + kBytesPerByte * size),
          " for a file of " + DescribeBytes(size));
}

void MemoryLimit::CheckResult(const std::string& name, const PictureClaim& claim) const {
    Check("cannot make " + Quote(name), claim, _bytes ? static_cast<double>(*_bytes) : GetMachineLimit(), "");
}

std::string DescribeBytes(double bytes) {
    constexpr std::array kUnits{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    constexpr double kStep = 1024;
    if (bytes < 10 * kStep) return std::to_string(static_cast<Int64>(bytes)) + " bytes";
    size_t unit = 0;
    for (bytes /= kStep; bytes >= kStep && unit + 1 < kUnits.size(); bytes /= kStep) unit++;
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f %s", bytes, kUnits[unit]);
    return text;
}

}  // namespace nuvra::app
