#include "Support/Path.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

/// Every text of up to \a length characters of \a alphabet.
std::vector<std::string> allTexts(const std::string& alphabet, size_t length) {
  std::vector<std::string> texts = {""};
  for (size_t first = 0, round = 0; round < length; ++round) {
    const size_t end = texts.size();
    for (; first < end; ++first) {
      for (const char character : alphabet) texts.push_back(texts[first] + character);
    }
  }
  return texts;
}

TEST(PathTest, AppendingJoinsOrdinaryNamesWithOneSlash) {
  const struct {
    const char *base, *component, *joined;
  } rows[] = {
      {"/a/b/c", "test", "/a/b/c/test"},
      {"", "test", "test"},
      {"/", "test", "/test"},
      {"q", "test", "q/test"},
      {"hello/", "/test", "hello/test"},
      {"hello///", "///test", "hello/test"},
      {"hello", "test/", "hello/test"},
      {"/tmp/", "scratch.tiff", "/tmp/scratch.tiff"},
      {"hello", "test///test2/", "hello/test/test2"},
      {"hello", "/", "hello"},
      {"//", "/", "/"},
      {"", "", ""},
      {"", "/usr/", "/usr"},
      {"/", "", "/"},
      {"/usr/", "", "/usr"},
      {"usr", "/bin/", "usr/bin"},
      {"//a//b", "c", "/a/b/c"},
      {"/a", "/x", "/a/x"},  // it does not replace the base
      {"/a/.", "../b/.", "/a/./../b/."},
      {"~", "x", "~/x"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(path::appending(row.base, row.component), row.joined) << row.base << " + " << row.component;
  }
}

TEST(PathTest, DeletingTheLastComponent) {
  const struct {
    const char *path, *parent;
  } rows[] = {
      {"/tmp/scratch.tiff", "/tmp"},
      {"/tmp/lock/", "/tmp"},
      {"/tmp/", "/"},
      {"/tmp", "/"},
      {"/", "/"},
      {"scratch.tiff", ""},
      {"", ""},
      {"a/b/", "a"},
      {"a//b//", "a"},
      {"hello///", ""},
      {"//", "/"},
      {"/hello/there/..", "/hello/there"},
      {"//host/share", "/host"},
      {"/hello//../there", "/hello/.."},
  };
  for (const auto& row : rows) EXPECT_EQ(path::deletingLastComponent(row.path), row.parent) << row.path;
}

TEST(PathTest, LastComponent) {
  const struct {
    const char *path, *component;
  } rows[] = {
      {"", ""},
      {"/", "/"},
      {"//", "/"},
      {"/////", "/"},
      {"a/", "a"},
      {"/a//", "a"},
      {"//a//b////", "b"},
      {"/./..//./..//", ".."},
      {"/tmp/scratch", "scratch"},
      {"scratch", "scratch"},
  };
  for (const auto& row : rows) EXPECT_EQ(path::lastComponent(row.path), row.component) << row.path;
}

TEST(PathTest, ComponentsKeepASlashAtEitherEnd) {
  const struct {
    const char* path;
    std::vector<std::string> components;
  } rows[] = {
      {"", {}},
      {"/", {"/"}},
      {"//", {"/", "/"}},
      {"///", {"/", "/"}},
      {"a/", {"a", "/"}},
      {"/a/", {"/", "a", "/"}},
      {"//a//", {"/", "a", "/"}},
      {"usr//bin", {"usr", "bin"}},
      {"tmp/scratch", {"tmp", "scratch"}},
      {"/tmp/scratch", {"/", "tmp", "scratch"}},
      {"/./..", {"/", ".", ".."}},
  };
  for (const auto& row : rows) EXPECT_EQ(path::components(row.path), row.components) << row.path;
}

TEST(PathTest, ResultsAreInStandardFormAndMakeThePathAgain) {
  const auto isStandard = [](const std::string& path) {
    return path == "/" || ((path.empty() || path.back() != '/') && path.find("//") == std::string::npos);
  };
  for (const std::string& path : allTexts("a./", 6)) {
    const std::string parent = path::deletingLastComponent(path);
    EXPECT_PRED1(isStandard, parent) << path;
    EXPECT_PRED1(isStandard, path::appending(path, "")) << path;
    EXPECT_PRED1(isStandard, path::appending("x/", path)) << path;
    EXPECT_EQ(path::appending(parent, path::lastComponent(path)), path::appending(path, "")) << path;
  }
}

TEST(PathTest, WalkUpwardsEndsAtTheTopOrTheEmptyPath) {
  for (const std::string& start : allTexts("a./", 6)) {
    std::string path = start;
    for (size_t step = 0; step <= start.size(); ++step) path = path::deletingLastComponent(path);
    EXPECT_EQ(path, !start.empty() && start.front() == '/' ? "/" : "") << start;
  }
}

TEST(PathTest, VeryLongPaths) {
  std::string path;
  for (int level = 0; level < 200000; ++level) path += "/ab";
  EXPECT_EQ(path::lastComponent(path), "ab");
  EXPECT_EQ(path::components(path).size(), 200001U);
  EXPECT_EQ(path::appending(path::deletingLastComponent(path), "/ab//"), path);
}

}  // namespace

}  // namespace hotfix
