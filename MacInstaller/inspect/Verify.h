#ifndef MACINSTALLER_INSPECT_VERIFY_H_
#define MACINSTALLER_INSPECT_VERIFY_H_

#include <string>

#include "MacInstaller/inspect/Document.h"

namespace hotfix {

/// Why a document cannot be compared with the present state, as the rest of a sentence that begins with the name of its
/// file; empty when it can. The document is not trusted: it may contain anything.
std::string objectionTo(const document::Json& before);

/// Whether the removal after \a before worked, point by point. Of \a before, only the home folder, the data folder and
/// the facts that a removal erases are used.
document::Json verifyDocument(const document::Json& before);

int exitStatusOfVerify(const document::Json& verify);

}  // namespace hotfix

#endif
