#ifndef PLATFORM_DARWIN_DYNAMIC_TYPE_H_
#define PLATFORM_DARWIN_DYNAMIC_TYPE_H_

#include <string>

namespace hotfix::platform {

/// The uniform type identifier under which a pasteboard keeps a type whose name is no such identifier: the one that
/// UTTypeCreatePreferredIdentifierForTag makes of the tag class "com.apple.nspboard-type".
///
/// "dyn.a" and the base-32 form (most significant bit first, alphabet a-z0-9 without i, j, l and o) of the tag
/// "?0=6:4=<name>". The form is not documented; it is the same in every release of macOS.
std::string dynamicPasteboardType(const std::string& name);

}  // namespace hotfix::platform

#endif
