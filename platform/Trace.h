#pragma once

#include <string_view>

/// Tells a developer the outcome of a step of the run: writes the line "PELTOSender: <step>:
/// <outcome>" to the debugger's output. Only a build with `PELTO_TRACE` does so. In any other the
/// call does nothing, because the program must stay silent on users' machines.
#ifdef PELTO_TRACE
void Trace(std::wstring_view step, std::wstring_view outcome);

/// The same for a step that either succeeds or fails.
inline void TraceResult(std::wstring_view step, bool isSuccess) {
  Trace(step, isSuccess ? L"done" : L"failed");
}
#else
// Templates, so that the texts are not even converted and no trace of them is in the program.
template <typename Step, typename Outcome>
void Trace(const Step&, const Outcome&) {}
template <typename Step>
void TraceResult(const Step&, bool) {}
#endif
