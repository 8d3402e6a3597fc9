#ifndef PLATFORM_DARWIN_DYNAMIC_TYPE_H_
#define PLATFORM_DARWIN_DYNAMIC_TYPE_H_

#include <string>

namespace hotfix::platform {

/// The uniform type identifier under which a pasteboard stores a type whose name is not itself such an identifier: the
/// result of UTTypeCreatePreferredIdentifierForTag for the tag class "com.apple.nspboard-type".
///
/// It consists of "dyn.a" and the base-32 form (most significant bit first, alphabet a-z0-9 without i, j, l and o) of
/// the tag "?0=6:4=<name>". The form is not documented; it is the same in every release of macOS.
std::string dynamicPasteboardType(const std::string& name);

}  // namespace hotfix::platform

#endif
