#ifndef MACINSTALLER_INSPECT_VERIFY_H_
#define MACINSTALLER_INSPECT_VERIFY_H_

#include <string>

#include "MacInstaller/inspect/Document.h"

namespace hotfix {

/// Why a document cannot be compared with the present state, to follow the name of its file; empty when it can. It may
/// be any document, from anywhere.
std::string objectionTo(const document::Json& before);

/// Whether the removal worked for which \a before was made, point by point. Only its home, its data folder and what a
/// removal erases are taken from it.
document::Json verifyDocument(const document::Json& before);

int exitStatusOfVerify(const document::Json& verify);

}  // namespace hotfix

#endif
