#ifndef MACINSTALLER_INSPECT_WARNINGS_H_
#define MACINSTALLER_INSPECT_WARNINGS_H_

#include "MacInstaller/inspect/Document.h"
#include "Support/OptionalString.h"

namespace hotfix {

/// What somebody should know before a run on this instance: an array of {"warning": a name, "text": a sentence}.
///
/// \param home the home folder that the run would use, and \a data its data folder.
document::Json previewWarnings(const OptionalString& home, const OptionalString& data);

}  // namespace hotfix

#endif
