#ifndef PLATFORM_DARWIN_TEXT_NESTING_H_
#define PLATFORM_DARWIN_TEXT_NESTING_H_

#include <string_view>

namespace platform {

/// Whether a property list in text form (XML or old style) can be handed to CoreFoundation, which calls itself once for
/// every collection that lies in another and ends the process when the stack is full.
///
/// Never true for a list nested more than kDeepestPropertyList deep; the bytes need be no list at all. A list that is
/// not in UTF-8, ASCII or ISO-8859-1, whose brackets only a conversion would show, is let pass up to 16 KiB.
bool isShallowPropertyListText(std::string_view bytes);

}  // namespace platform

#endif
