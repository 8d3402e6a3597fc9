#include "Tests/Support/FakeHost.h"

#include <unistd.h>

#include <cstdlib>
#include <mutex>

#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Platform/posix/SystemHabits.h"
#include "Platform/posix/SystemLogSink.h"

namespace hotfix {

namespace {

std::string outsideFolder;
auto& messages = *new LogLines;  // there for what is logged while the process ends
std::mutex messagesMutex;
platform::LocalTime clockTime;
bool areBundlesProtected = false;

}  // namespace

// ----- The stand-ins -----

namespace platform {

std::string onDisk(const std::string& path) { return outsideFolder + path; }

void sendToSystemLog(LogLevel level, const std::string& message) {
  const std::lock_guard<std::mutex> lock(messagesMutex);
  messages.emplace_back(static_cast<int>(level), message);
}

bool protectsBundles() { return areBundlesProtected; }

LocalTime currentLocalTime() { return clockTime; }

LocalTime currentGregorianLocalTime() { return clockTime; }

}  // namespace platform

// ----- The fixture -----

FakeHostTest::FakeHostTest() {
  outsideFolder = folder.makeFolder("outside");
  folder.makeFolder("outside/tmp", 01777);
  clearLog();
  protectBundles(false);
  setClock({2026, 11, 15, 21, 25, 7});
  setEnvironment("USER", platform::loginName());
}

FakeHostTest::~FakeHostTest() {
  for (auto before = _environmentBefore.rbegin(); before != _environmentBefore.rend(); ++before) {
    if (before->second) {
      setenv(before->first.c_str(), before->second->c_str(), 1);
    } else {
      unsetenv(before->first.c_str());
    }
  }
  outsideFolder = "/nonexistent";  // a test must not reach the machine's own files, not even late
}

const LogLines& FakeHostTest::log() { return messages; }

std::vector<std::string> FakeHostTest::log(platform::LogLevel level) {
  std::vector<std::string> texts;
  for (const LogLine& line : messages) {
    if (line.first == static_cast<int>(level)) texts.push_back(line.second);
  }
  return texts;
}

void FakeHostTest::clearLog() { messages.clear(); }

void FakeHostTest::setClock(const platform::LocalTime& moment) { clockTime = moment; }

void FakeHostTest::protectBundles(bool areProtected) { areBundlesProtected = areProtected; }

void FakeHostTest::setEnvironment(const std::string& name, const OptionalString& value) {
  _environmentBefore.emplace_back(name, platform::environmentVariable(name.c_str()));
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

void FakeHostTest::runProcess(int pid, const std::string& executable) const {
  folder.makeLink(outside("/proc/" + std::to_string(pid) + "/exe"), executable);
}

void FakeHostTest::setUserDefaults(const std::string& domain, const std::string& propertyList) const {
  const std::string home = platform::homeFolder().value_or("");
  folder.makeFile(outside(home + "/Library/Preferences/" + domain + ".plist"), propertyList);
}

}  // namespace hotfix
