#ifndef BENCH_SAMPLES_H_
#define BENCH_SAMPLES_H_

#include <string>

namespace hotfix {

/// Texts of files of an instance, of any size.

/// A properties file; an entry takes some 70 bytes and has characters that are escaped.
std::string propertiesText(int entries);

/// An install manifest; every feature refers to the installer's root.
std::string manifestText(int features);

/// A property list in XML: a dictionary of records with texts, a number, and an array, some 260 bytes each.
std::string propertyListText(int records);

/// An `addonInfo.plist`; the add-ons have the IDs "com.qor.addon.0", "com.qor.addon.1" and so on.
std::string addonRegistryText(int addons);

}  // namespace hotfix

#endif
