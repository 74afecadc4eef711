#pragma once

struct SittingResult;

// Whether ended sittings go into the history, from the settings store:
//
//   [Software\Practorum\History]
//   Record Attempts=dword:1   0 records nothing
//   Record Study=dword:0      1 records study-mode sittings as well
//
// A missing or unreadable value counts as its default (1 and 0).
namespace HistorySettings {

inline constexpr const char* Key = "Software\\Practorum\\History";

bool IsRecordingOn();
bool IsStudyRecorded();
// Whether this sitting is to be recorded under the settings above.
bool ShouldRecord(const SittingResult& result);

} // namespace HistorySettings
