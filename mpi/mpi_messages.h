// Texts of lumetra-mpi: what a summary row says about a record a rank had in
// hand when the run ended, and the run's own complaints.
#pragma once

#include <string_view>

namespace lumetra {

// "not finished: rank 2 was working on it when the run ended"
inline constexpr std::string_view kNotFinishedOnRank = "not finished: rank ";
inline constexpr std::string_view kNotFinishedOnRankEnd = " was working on it when the run ended";

inline constexpr std::string_view kMpiFailed = "MPI failed";
inline constexpr std::string_view kRanksGone =
    "ranks did not answer after the stop; their records are reported as not finished";
inline constexpr std::string_view kStrayReport = "ignored a report for a record the rank was not given";

}  // namespace lumetra
