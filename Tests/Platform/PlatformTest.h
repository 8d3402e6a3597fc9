#ifndef TESTS_PLATFORM_PLATFORM_TEST_H_
#define TESTS_PLATFORM_PLATFORM_TEST_H_

#include "Platform/Ownership.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

/// The base of the tests of operations on files and processes. A test fails if a descriptor is left open in it. The
/// helpers take paths relative to the test's folder.
class PlatformTest : public FakeHostTest {
 protected:
  ~PlatformTest() override { EXPECT_EQ(openDescriptors(), _openBefore) << "open descriptors"; }

  /// Changes the owner and the group of an entry, not those of a link's target.
  void own(const std::string& path, uid_t owner, gid_t group) const {
    ASSERT_EQ(lchown((folder / path).c_str(), owner, group), 0) << std::strerror(errno);
  }
  void setMode(const std::string& path, mode_t mode) const { ASSERT_EQ(chmod((folder / path).c_str(), mode), 0); }
  /// Gives a file a second name.
  void linkTo(const std::string& file, const std::string& name) const {
    ASSERT_EQ(link((folder / file).c_str(), (folder / name).c_str()), 0) << std::strerror(errno);
  }
  void move(const std::string& from, const std::string& to) const {
    ASSERT_EQ(rename((folder / from).c_str(), (folder / to).c_str()), 0) << std::strerror(errno);
  }
  void unlinkFile(const std::string& path) const { ASSERT_EQ(unlink((folder / path).c_str()), 0); }
  void setSize(const std::string& path, off_t size) const {
    ASSERT_EQ(truncate((folder / path).c_str(), size), 0) << std::strerror(errno);
  }

  static platform::Attributes modeOnly(mode_t mode) {
    platform::Attributes attributes;
    attributes.mode = mode;
    return attributes;
  }

 private:
  int _openBefore = openDescriptors();
};

}  // namespace hotfix

#endif
