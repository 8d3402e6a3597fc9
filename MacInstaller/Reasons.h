#ifndef MACINSTALLER_REASONS_H_
#define MACINSTALLER_REASONS_H_

#include <optional>
#include <string>

#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Support/OptionalString.h"
#include "Support/StepResult.h"

/// Sentences for a person, of what the operations answered. A reason follows "because": no capital letter, no full
/// stop. Each has its row in docs/troubleshooting.md.
namespace hotfix {

/// The system's own words, and what helps: sudo where a right is missing that root has, the settings where it may be
/// the system that protects an application.
std::string systemReason(const platform::FileError& error);

/// Why nothing is found at \a path: the system's own words, or \a ifMissing where there is no such entry. Where there
/// is one by now, \a ifMissing too.
std::string absenceReason(const std::string& path, const std::string& ifMissing);

/// \param error what platform::ChildProcess::error answered.
std::string launchReason(const OptionalString& program, const std::string& error);

/// How a step ended that started a program and waited for it. \param error none when it was started.
StepResult launchResult(const OptionalString& program, const OptionalString& error);

/// How a repair ended, with the owner and the group that the entries have now. \param outcome none when there was no
/// folder to repair.
StepResult repairResult(const std::optional<platform::RepairOutcome>& outcome);

}  // namespace hotfix

#endif
