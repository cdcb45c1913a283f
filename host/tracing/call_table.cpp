#include "call_table.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace nuvra::host {

namespace {

/// The items of a map, those with the most time first.
template <class Map>
auto SortByTime(const Map& rows) {
    std::vector<const typename Map::value_type*> sorted;
    sorted.reserve(rows.size());
    for (const auto& row : rows) sorted.push_back(&row);
    std::ranges::stable_sort(sorted,
                             [](const auto* a, const auto* b) { return a->second.total > b->second.total; });
    return sorted;
}

/// One line, the numbers to the right.
void AppendLine(std::string& out, const std::string& name, const std::array<std::string, 6>& columns) {
    out += name + std::string(name.size() < 32 ? 32 - name.size() : 0, ' ');
    for (const std::string& column : columns)
        out += std::string(column.size() < 12 ? 12 - column.size() : 1, ' ') + column;
    out += '\n';
}

std::string Microseconds(Int64 nanoseconds) {
    std::string text;
    AppendTime(text, nanoseconds, 3);
    return text;
}

}  // namespace

void CallTable::Row::Add(const Call& call) {
    count++;
    if (call.hasFailed) failed++;
    if (call.kind != CallKind::CALL) return;
    const Int64 duration = call.end - call.begin;
    shortest = timed == 0 ? duration : std::min(shortest, duration);
    longest = std::max(longest, duration);
    total += duration;
    timed++;
}

void CallTable::Write(const Call& call) {
    if (call.kind != CallKind::CALL && call.kind != CallKind::AFTER) return;
    FunctionRow& row = _rows[call.name];
    row.Add(call);
    if (!call.kernel.empty()) row.kernels[call.kernel].Add(call);
}

void CallTable::AppendRow(std::string& out, std::string_view indent, const std::string& name,
                          const Row& row) {
    std::string title(indent);
    AppendPlain(title, name);
    const Int64 mean = row.timed == 0 ? 0 : row.total / row.timed;
    AppendLine(out, title,
               {std::to_string(row.count), Microseconds(row.total), Microseconds(row.shortest),
                Microseconds(mean), Microseconds(row.longest), std::to_string(row.failed)});
}

std::string CallTable::ToText() const {
    std::string text;
    AppendLine(text, "OpenCL calls, in us", {"count", "total", "minimum", "mean", "maximum", "failed"});
    for (const auto* function : SortByTime(_rows)) {
        AppendRow(text, "", function->first, function->second);
        for (const auto* kernel : SortByTime(function->second.kernels))
            AppendRow(text, "  ", kernel->first, kernel->second);
    }
    return text;
}

}  // namespace nuvra::host
