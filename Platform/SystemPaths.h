#ifndef PLATFORM_SYSTEM_PATHS_H_
#define PLATFORM_SYSTEM_PATHS_H_

#include <string>

/// Every fixed absolute path of the system, in one place.
///
/// The constants are the names in messages and in the arguments of children. `onDisk` gives the path of the file with
/// that name. Code that opens, starts or tests such a file uses `onDisk`.
namespace hotfix::platform {

inline constexpr char kTraceFile[] = "/tmp/install_trace.log";
inline constexpr char kInternalConfigurationFile[] = "/tmp/com.qor.rcp.platform.internal.configuration";
inline constexpr char kStagingFolder[] = "/tmp/zelcore2/";
inline constexpr char kAddonLogFolder[] = "/tmp";
inline constexpr char kDefaultHome[] = "/Applications/Vantelmor.app/Contents/MacOS/rcp";
inline constexpr char kPkgutil[] = "/usr/sbin/pkgutil";
inline constexpr char kJavaHomeFinder[] = "/usr/libexec/java_home";
inline constexpr char kJavaPlugin[] = "/Library/Internet Plug-Ins/JavaAppletPlugin.plugin/";
inline constexpr char kJavaPluginHome[] = "/Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Home";

/// The path of the file with the name \a path: the path itself. The tests link a version that returns a path below
/// their own folder, so that they use no file of the machine.
std::string onDisk(const std::string& path);

}  // namespace hotfix::platform

#endif
