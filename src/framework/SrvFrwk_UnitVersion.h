#pragma once
// Version texts of the policy documents: "major.minor.build", where minor and build are
// one to four decimal digits read as four decimal places (1.5 is minor 5000).

#include <cstdint>
#include <string>

namespace SrvFrwk {
namespace Unit {

// All four fields are set to 0 first. Returns 1 when the text had major, minor and build
// (the fields are then filled; the fourth is always 0), 0 when it stopped after major or
// minor (the fields stay 0), 0x80040204 for a text it cannot read.
int32_t ConvertVersion(const std::wstring& _tszVersion, uint32_t& major, uint32_t& minor,
                       uint32_t& build, uint32_t& fourth);

}  // namespace Unit

// -1 when the first version is the newer, 1 when the second is, 0 when they are equal.
// A text that cannot be converted counts as 0.0.0.0.
int32_t CompareVersion(const std::wstring& first, const std::wstring& second);

}  // namespace SrvFrwk
