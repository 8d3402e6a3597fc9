#include "MacInstaller/InstallUtil.h"
#include "Platform/FileManager.h"
#include "Tests/Laws/Random.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using laws::forCases;
using laws::Random;
using Tree = std::map<std::string, std::string>;  // as treeSnapshot answers it

bool goOn(const platform::FileError& /*error*/, const std::string& /*source*/, const std::string& /*target*/) {
  return true;
}

/// Few names, so that trees meet often.
void addEntries(Random& random, const std::string& prefix, int level, bool hasLinksToFolders, Tree& tree) {
  static const std::vector<std::string> names = {"a", "b", "c d", ".e", "\xC3\xA9"};
  static const std::vector<std::string> plainTargets = {"nowhere", "a/nowhere"};
  static const std::vector<std::string> targets = {"nowhere", "a", "..", "../elsewhere", "."};
  for (const std::string& name : names) {
    if (random.isOneIn(2)) continue;
    const std::string path = prefix + name;
    switch (random.below(level < 4 ? 7 : 4)) {
      case 0:
        tree[path] = "link: " + random.oneOf(hasLinksToFolders ? targets : plainTargets);
        break;
      case 1:
        tree[path] = random.isOneIn(3) ? "other" : "file: ";
        break;
      case 2:
      case 3:
        tree[path] = "file: " + std::to_string(random.below(1000000));
        break;
      default:
        tree[path] = "folder";
        addEntries(random, path + "/", level + 1, hasLinksToFolders, tree);
    }
  }
}

Tree anyTree(Random& random, bool hasLinksToFolders) {
  Tree tree;
  addEntries(random, "", 0, hasLinksToFolders, tree);
  return tree;
}

/// The folders that lie around a path in its tree, the outermost first.
std::vector<std::string> around(const std::string& path) {
  std::vector<std::string> folders;
  for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    folders.push_back(path.substr(0, slash));
  }
  return folders;
}

/// The entries of a source that a copy onto \a target reaches: it enters no folder of its own that is a file there.
Tree reached(const Tree& source, const Tree& target) {
  Tree entries;
  for (const auto& [path, what] : source) {
    bool isReached = what != "other";
    for (const std::string& outer : around(path)) {
      const auto there = target.find(outer);
      isReached = isReached && (there == target.end() || there->second == "folder");
    }
    if (isReached) entries.emplace(path, what);
  }
  return entries;
}

// The base that comes first is made first.
class TreeLawsTest : laws::ScopedMemoryFolders, public FakeHostTest {
 protected:
  ~TreeLawsTest() override { platform::setCopyPolicy(nullptr); }

  /// Lays out a tree in a new folder of that name.
  void layOut(const Tree& tree, const std::string& name) const {
    folder.makeFolder(name);
    for (const auto& [path, what] : tree) {
      const std::string place = name + "/" + path;
      if (what == "folder") {
        folder.makeFolder(place);
      } else if (what == "other") {
        folder.makeFifo(place);
      } else if (what.compare(0, 6, "link: ") == 0) {
        folder.makeLink(place, what.substr(6));
      } else {
        folder.makeFile(place, what.substr(6));
      }
    }
  }

  Tree treeOf(const std::string& name) const { return treeSnapshot(folder / name); }
  void remove(const std::string& name) const { ASSERT_TRUE(platform::removeItem(folder / name)); }

  /// Everything about the entries that are no folders which a copy must leave alone.
  std::map<std::string, std::vector<long long>> attributesOf(const Tree& tree, const std::string& name) const {
    std::map<std::string, std::vector<long long>> result;
    for (const auto& [path, what] : tree) {
      if (what == "folder") continue;
      const struct stat status = folder.attributes(name + "/" + path);
      result[path] = {static_cast<long long>(status.st_ino),   static_cast<long long>(status.st_mode),
                      static_cast<long long>(status.st_nlink), static_cast<long long>(status.st_uid),
                      static_cast<long long>(status.st_size),  static_cast<long long>(status.st_mtime),
                      static_cast<long long>(status.st_ctime)};
    }
    return result;
  }
};

TEST_F(TreeLawsTest, CopyThatGoesOnChangesNoExistingFile) {
  platform::setCopyPolicy(goOn);
  forCases(150, [this](Random& random) {
    const Tree source = anyTree(random, /*hasLinksToFolders=*/true);
    const Tree target = anyTree(random, /*hasLinksToFolders=*/true);
    layOut(source, "source");
    layOut(target, "target");
    layOut({{"kept", "file: 1"}}, "elsewhere");
    const auto before = attributesOf(target, "target");

    EXPECT_TRUE(platform::copyItem(folder / "source", folder / "target"));

    Tree expected = target;
    expected.merge(reached(source, target));
    EXPECT_EQ(treeOf("target"), expected);
    EXPECT_EQ(attributesOf(target, "target"), before);
    EXPECT_EQ(treeOf("source"), source);
    EXPECT_EQ(treeOf("elsewhere"), (Tree{{"kept", "file: 1"}}));
    for (const char* name : {"source", "target", "elsewhere"}) remove(name);
  });
}

TEST_F(TreeLawsTest, CopyOntoNothingIsTheSameTree) {
  platform::setCopyPolicy(goOn);
  forCases(100, [this](Random& random) {
    const Tree source = anyTree(random, /*hasLinksToFolders=*/true);
    layOut(source, "source");
    EXPECT_TRUE(platform::copyItem(folder / "source", folder / "target"));
    EXPECT_EQ(treeOf("target"), reached(source, {}));
    EXPECT_EQ(treeOf("source"), source);
    for (const char* name : {"source", "target"}) remove(name);
  });
}

TEST_F(TreeLawsTest, MergeOfFoldersLosesOnlyWhatItReplaces) {
  platform::setCopyPolicy(goOn);
  forCases(150, [this](Random& random) {
    const Tree source = anyTree(random, /*hasLinksToFolders=*/false);
    const Tree target = anyTree(random, /*hasLinksToFolders=*/false);
    layOut(source, "source");
    layOut(target, "target");

    InstallUtil::copyFolderFrom(folder / "source", folder / "target");

    // A file of the source takes its place from whatever is there. A folder gives way to a file or link.
    Tree expected;
    for (const auto& [path, what] : target) {
      bool isKept = true;
      std::vector<std::string> places = around(path);
      places.push_back(path);
      for (const std::string& place : places) {
        const auto new_ = source.find(place);
        isKept = isKept && (new_ == source.end() || new_->second == "folder");
      }
      if (isKept) expected.emplace(path, what);
    }
    expected.merge(reached(source, target));
    EXPECT_EQ(treeOf("target"), expected);
    EXPECT_EQ(treeOf("source"), source);
    for (const char* name : {"source", "target"}) remove(name);
  });
}

}  // namespace

}  // namespace hotfix
