#ifndef MACINSTALLER_INSPECT_WARNINGS_H_
#define MACINSTALLER_INSPECT_WARNINGS_H_

#include "MacInstaller/inspect/Document.h"
#include "Support/OptionalString.h"

namespace hotfix {

/// The warnings before a run on this instance: an array of {"warning": a name, "text": a sentence}.
///
/// \param home the home folder that the run would use.
/// \param data the data folder that it would use.
document::Json previewWarnings(const OptionalString& home, const OptionalString& data);

}  // namespace hotfix

#endif
