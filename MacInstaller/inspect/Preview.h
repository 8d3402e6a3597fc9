#ifndef MACINSTALLER_INSPECT_PREVIEW_H_
#define MACINSTALLER_INSPECT_PREVIEW_H_

#include <string>

#include "MacInstaller/inspect/Document.h"
#include "Support/OptionalString.h"

namespace hotfix {

/// What a run of hotfixUninstall is previewed with.
struct PreviewArguments {
  OptionalString home;    ///< "-rcphome", as the tool is given it
  OptionalString data;    ///< "-rcpdata"
  OptionalString result;  ///< the code that the platform would leave; none: it leaves no result
};

/// Runs the tool on the preview platform and tells what it did there. Once in the life of a process.
document::Json previewDocument(const PreviewArguments& arguments);

}  // namespace hotfix

#endif
