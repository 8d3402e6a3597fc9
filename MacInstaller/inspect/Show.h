#ifndef MACINSTALLER_INSPECT_SHOW_H_
#define MACINSTALLER_INSPECT_SHOW_H_

#include <string>

#include "MacInstaller/inspect/Document.h"

/// The documents as text for a person.
namespace hotfix::show {

/// A document as text for standard output. It has colours if standard output is a terminal with colours and NO_COLOR is
/// not set. No name in it can control a terminal.
std::string shown(const document::Json& document);

void toStandardError(const std::string& text);

}  // namespace hotfix::show

#endif
