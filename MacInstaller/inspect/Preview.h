#ifndef MACINSTALLER_INSPECT_PREVIEW_H_
#define MACINSTALLER_INSPECT_PREVIEW_H_

#include <string>

#include "MacInstaller/inspect/Document.h"
#include "Support/OptionalString.h"

namespace hotfix {

/// The arguments of a preview of hotfixUninstall.
struct PreviewArguments {
  OptionalString home;    ///< "-rcphome", as given to the tool
  OptionalString data;    ///< "-rcpdata"
  OptionalString result;  ///< the code that the platform would leave; none: it leaves no result
};

/// Runs the tool on the preview platform and reports what it did there. A process can call this only once.
document::Json previewDocument(const PreviewArguments& arguments);

}  // namespace hotfix

#endif
