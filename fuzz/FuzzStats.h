#pragma once
// What a fuzz run counts: inputs per road and per mutation class, the result codes each
// road answered, and the inputs whose code the module does not document.

#include <windows.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "FuzzGenerator.h"
#include "FuzzTarget.h"

namespace OstrelFuzz {

enum class Verdict { Held, Success, Failure, ReaderFailure, Undocumented };

// How a result code counts: held back by the gate, success, a documented failure, a
// failure of the XML reader handed on, or an undocumented code (a fault).
Verdict Judge(const Outcome& outcome);

class FuzzStats {
public:
    void Record(const FuzzInput& input, const Outcome& outcome);
    uint64_t Inputs() const { return m_Inputs; }
    uint64_t Undocumented() const { return m_Undocumented; }
    // The summary tables, as plain text.
    std::string Report() const;

private:
    using Counts = std::array<uint64_t, 5>;  // by Verdict

    uint64_t m_Inputs = 0;
    uint64_t m_Undocumented = 0;
    std::array<Counts, kPathCount> m_ByPath{};
    std::array<Counts, kMutationCount> m_ByMutation{};
    std::array<std::map<uint32_t, uint64_t>, kPathCount> m_Codes;
};

}  // namespace OstrelFuzz
