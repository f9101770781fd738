#include "FuzzStats.h"

#include <cstdio>

namespace OstrelFuzz {
namespace {

std::string Row(const char* name, const std::array<uint64_t, 5>& counts) {
    uint64_t total = 0;
    for (uint64_t count : counts) {
        total += count;
    }
    char line[160];
    snprintf(line, sizeof(line), "  %-30s %8llu %8llu %8llu %8llu %8llu %8llu\n", name,
             static_cast<unsigned long long>(total), static_cast<unsigned long long>(counts[0]),
             static_cast<unsigned long long>(counts[1]), static_cast<unsigned long long>(counts[2]),
             static_cast<unsigned long long>(counts[3]),
             static_cast<unsigned long long>(counts[4]));
    return line;
}

std::string Header(const char* title) {
    char line[160];
    snprintf(line, sizeof(line), "%s\n  %-30s %8s %8s %8s %8s %8s %8s\n", title, "", "inputs",
             "held", "success", "failure", "reader", "undoc");
    return line;
}

}  // namespace

Verdict Judge(const Outcome& outcome) {
    if (!outcome.Sent) {
        return Verdict::Held;
    }
    if (!TestSupport::IsDocumentedResult(outcome.Result)) {
        return TestSupport::IsReaderResult(outcome.Result) ? Verdict::ReaderFailure
                                                           : Verdict::Undocumented;
    }
    return SUCCEEDED(outcome.Result) ? Verdict::Success : Verdict::Failure;
}

void FuzzStats::Record(const FuzzInput& input, const Outcome& outcome) {
    const size_t verdict = static_cast<size_t>(Judge(outcome));
    ++m_Inputs;
    m_Undocumented += verdict == static_cast<size_t>(Verdict::Undocumented) ? 1 : 0;
    ++m_ByPath[static_cast<size_t>(input.Path)][verdict];
    for (size_t mutation = 0; mutation < kMutationCount; ++mutation) {
        if (input.Mutations & Bit(static_cast<Mutation>(mutation))) {
            ++m_ByMutation[mutation][verdict];
        }
    }
    if (outcome.Sent) {
        ++m_Codes[static_cast<size_t>(input.Path)][static_cast<uint32_t>(outcome.Result)];
    }
}

std::string FuzzStats::Report() const {
    std::string text = Header("inputs per road");
    for (size_t path = 0; path < kPathCount; ++path) {
        text += Row(PathName(static_cast<RequestPath>(path)), m_ByPath[path]);
    }
    text += Header("inputs per mutation class (an input may carry several)");
    for (size_t mutation = 0; mutation < kMutationCount; ++mutation) {
        text += Row(MutationName(static_cast<Mutation>(mutation)), m_ByMutation[mutation]);
    }
    text += "result codes per road\n";
    for (size_t path = 0; path < kPathCount; ++path) {
        text += std::string("  ") + PathName(static_cast<RequestPath>(path)) + ":";
        for (const auto& code : m_Codes[path]) {
            char item[48];
            snprintf(item, sizeof(item), " 0x%08x x%llu", code.first,
                     static_cast<unsigned long long>(code.second));
            text += item;
        }
        text += "\n";
    }
    return text;
}

}  // namespace OstrelFuzz
