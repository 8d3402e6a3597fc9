#ifndef MACINSTALLER_REASONS_H_
#define MACINSTALLER_REASONS_H_

#include <optional>
#include <string>

#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Support/OptionalString.h"
#include "Support/StepResult.h"

/// The outcomes of operations as sentences for a user. A reason can follow "because": it has no capital letter and no
/// full stop. Each has its row in docs/troubleshooting.md.
namespace hotfix {

/// The system's error text, and the remedy: sudo if the user lacks a permission that root has, or the settings if the
/// system may be protecting an application.
std::string systemReason(const platform::FileError& error);

/// Why nothing is found at \a path: the system's error text, or \a ifMissing if there is no such entry, or if the entry
/// exists by now.
std::string absenceReason(const std::string& path, const std::string& ifMissing);

/// \param error the result of platform::ChildProcess::error.
std::string launchReason(const OptionalString& program, const std::string& error);

/// The result of a step that started a program and waited for it. \param error none when it was started.
StepResult launchResult(const OptionalString& program, const OptionalString& error);

/// The result of a repair, with the owner and the group that the entries have now. \param outcome none when there was
/// no folder to repair.
StepResult repairResult(const std::optional<platform::RepairOutcome>& outcome);

}  // namespace hotfix

#endif
