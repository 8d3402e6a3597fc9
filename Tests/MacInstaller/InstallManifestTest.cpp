#include "MacInstaller/InstallManifest.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using Lines = std::vector<std::string>;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

/// A manifest around the content of its "install" element.
std::string manifestOf(const std::string& content) {
  return std::string(kDeclaration) + "<root><domain-object><object-data><install>" + content +
         "</install></object-data></domain-object></root>";
}

std::string installFeature(const std::string& features) {
  return "<installfeature><requirements>" + features + "</requirements></installfeature>";
}

class InstallManifestTest : public FakeHostTest {
 protected:
  /// A manifest of this text, rewritten with the root "file:/i" and saved in place: the answer of the rewriting, and
  /// the text afterwards.
  std::pair<bool, std::string> rewritten(const std::string& text, const std::string& root = "file:/i") const {
    folder.makeFile("file", text);
    InstallManifest manifest(folder / "file");
    const bool answer = manifest.replaceInstallerRootWith(root);
    EXPECT_TRUE(manifest.saveInstallManifestAs(std::nullopt));
    return {answer, folder.read("file")};
  }

  /// The values of all "url" attributes that the rewriting leaves in the file.
  Lines rewrittenUrls(const std::string& text, const std::string& root = "file:/i") const {
    const std::string saved = rewritten(text, root).second;
    Lines urls;
    for (size_t at = 0; (at = saved.find(" url=\"", at)) != std::string::npos;) {
      at += 6;
      urls.push_back(saved.substr(at, saved.find('"', at) - at));
    }
    return urls;
  }

  /// Rewriting stops with "no" and just this line.
  void expectStop(const std::string& text, const std::string& line) const {
    clearLog();
    EXPECT_FALSE(rewritten(text).first) << text;
    EXPECT_EQ(log(), (LogLines{{3, line}})) << text;
  }
};

// ----- Rewriting -----

TEST_F(InstallManifestTest, WholeManifest) {
  const auto [answer, text] = rewritten(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<install>\n<!-- made by the build -->"
      "<domain-object type='x'><object-data><install action=\"now\"><installfeature>\n\t<requirements>"
      "<feature version=\"1.0\" url=\"${installer.root}/features/a\" id=\"a\"/>"
      "<feature url=\"http://example.org/b\"/>"
      "</requirements></installfeature></install></object-data></domain-object></install>\n");
  EXPECT_TRUE(answer);
  EXPECT_EQ(text,
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
            "<install>\n"
            "    <!-- made by the build -->\n"
            "    <domain-object type=\"x\">\n"
            "        <object-data>\n"
            "            <install action=\"now\">\n"
            "                <installfeature>\n"
            "                    <requirements>\n"
            "                        <feature version=\"1.0\" url=\"file:/i/features/a\" id=\"a\"></feature>\n"
            "                        <feature url=\"http://example.org/b\"></feature>\n"
            "                    </requirements>\n"
            "                </installfeature>\n"
            "            </install>\n"
            "        </object-data>\n"
            "    </domain-object>\n"
            "</install>");
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, EveryPlaceholderBecomesTheRootExactlyAsItIs) {
  const struct {
    const char *root, *url, *rewrittenUrl;
  } rows[] = {
      {"file:/i", "${installer.root}/f", "file:/i/f"},
      {"file:/i", "${installer.root}f", "file:/if"},
      {"file:/i", "${installer.root}/a:${installer.root}/b", "file:/i/a:file:/i/b"},
      {"file:/i", "", ""},
      {"file:/i", "http://example.org/x", "http://example.org/x"},
      {"file:/i", "${Installer.root}/x", "${Installer.root}/x"},
      {"file:/i", "${installer-root}", "${installer-root}"},
      {"file:/i", "{installer.root}", "{installer.root}"},
      {"file:/i/", "${installer.root}/f", "file:/i//f"},
      {"", "${installer.root}/f", "/f"},
      {"file:/My Disk/%20", "${installer.root}/f", "file:/My Disk/%20/f"},
      {"/\u00E9\u20AC", "${installer.root}", "/\u00E9\u20AC"},
      {"/a&b<c>'d", "${installer.root}/f", "/a&amp;b&lt;c&gt;'d/f"},
      {"<${installer.root}>", "${installer.root}", "&lt;${installer.root}&gt;"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(rewrittenUrls(manifestOf(installFeature("<feature url=\"" + std::string(row.url) + "\"/>")), row.root),
              Lines{row.rewrittenUrl})
        << row.url << " with " << row.root;
  }
}

TEST_F(InstallManifestTest, OnlyUrlIsRewritten) {
  const std::string text =
      rewritten(manifestOf(installFeature("<feature id=\"${installer.root}\" Url=\"${installer.root}\" "
                                          "url=\"${installer.root}\">${installer.root}</feature>")))
          .second;
  EXPECT_THAT(text, HasSubstr("<feature id=\"${installer.root}\" Url=\"${installer.root}\" url=\"file:/i\">"
                              "${installer.root}</feature>"));
}

TEST_F(InstallManifestTest, InstallFeatureWithNothingToReplaceIsASuccess) {
  EXPECT_TRUE(rewritten(manifestOf("<installfeature/>")).first);
  EXPECT_TRUE(rewritten(manifestOf(installFeature(""))).first);
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, EveryInstallFeatureIsEnteredAndElsewhereTheFirstElement) {
  const std::string one = "<feature id=\"1\"/><feature url=\"${installer.root}/1\"/>";
  const std::string two = "<feature url=\"${installer.root}/2\"/>";
  const auto within = [](const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">";
  };
  const auto install = [&](const std::string& features) { return within("install", installFeature(features)); };
  const auto objectData = [&](const std::string& content) { return within("object-data", content); };
  const auto domainObject = [&](const std::string& content) { return within("domain-object", content); };
  const struct {
    std::string name, manifest, first, second;
  } rows[] = {
      {"two install features", manifestOf(installFeature(one) + "<other/>" + installFeature(two)), "file:/i/1",
       "file:/i/2"},
      {"no requirements", manifestOf(within("installfeature", one) + installFeature(two)), "${installer.root}/1",
       "file:/i/2"},
      {"two requirements",
       manifestOf(within("installfeature", within("requirements", one) + within("requirements", two))), "file:/i/1",
       "${installer.root}/2"},
      {"two installs", within("root", domainObject(objectData(install(one) + install(two)))), "file:/i/1",
       "${installer.root}/2"},
      {"two object-data", within("root", domainObject(objectData(install(one)) + objectData(install(two)))),
       "file:/i/1", "${installer.root}/2"},
      {"two domain-objects",
       within("root", domainObject(objectData(install(one))) + domainObject(objectData(install(two)))), "file:/i/1",
       "${installer.root}/2"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(rewrittenUrls(row.manifest), (Lines{row.first, row.second})) << row.name;
    EXPECT_TRUE(rewritten(row.manifest).first) << row.name;
  }
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, NameOfTheRootElementDoesNotMatter) {
  for (const char* name : {"root", "install", "domain-object", "p:q"}) {
    const std::string text = std::string("<") + name +
                             " xmlns:p=\"u\"><domain-object><object-data><install><installfeature/></install>"
                             "</object-data></domain-object></" +
                             name + ">";
    EXPECT_TRUE(rewritten(text).first) << name;
  }
}

TEST_F(InstallManifestTest, MissingElementsAreNamed) {
  expectStop("<domain-object/>", "Not able to get domain-object element");
  expectStop("<root><x><domain-object/></x></root>", "Not able to get domain-object element");
  expectStop("<root><Domain-object/></root>", "Not able to get domain-object element");
  expectStop("<root><domain-object/></root>", "Not able to get object-data element");
  expectStop("<root><object-data/><domain-object><install/></domain-object></root>",
             "Not able to get object-data element");
  expectStop("<root><domain-object><object-data>install</object-data></domain-object></root>",
             "Not able to get install element");
  expectStop("<root><domain-object/><domain-object><object-data/></domain-object></root>",
             "Not able to get object-data element");
  expectStop(manifestOf(""), "Not able to get install-feature element");
  expectStop(manifestOf("<install-feature/>"), "Not able to get install-feature element");
}

TEST_F(InstallManifestTest, RewritingAgainFindsNothingLeftAndOnlyASaveChangesTheFile) {
  const std::string text = manifestOf(installFeature("<feature url=\"${installer.root}/1\"/>"));
  folder.makeFile("file", text);
  InstallManifest manifest(folder / "file");
  EXPECT_TRUE(manifest.replaceInstallerRootWith("first"));
  EXPECT_TRUE(manifest.replaceInstallerRootWith("second"));
  EXPECT_EQ(folder.read("file"), text);
  EXPECT_TRUE(manifest.saveInstallManifestAs(std::nullopt));
  EXPECT_THAT(folder.read("file"), HasSubstr("url=\"first/1\""));
}

// ----- Files that are no manifest -----

TEST_F(InstallManifestTest, FileThatIsNoXmlAnswersNoInSilence) {
  folder.makeFolder("folder");
  folder.makeLink("broken", "nowhere");
  folder.makeFifo("fifo");
  folder.makeFile("empty", "");
  folder.makeFile("cut", manifestOf("").substr(0, 80));
  folder.makeFile("binary", std::string("<a>\0\1\2", 6));
  folder.makeFile("properties", "a=b\n");
  folder.makeFile("two roots", "<a/><b/>");
  for (const char* name :
       {"missing", "folder", "broken", "fifo", "empty", "cut", "binary", "properties", "two roots", ""}) {
    InstallManifest manifest(*name != '\0' ? folder / name : "");
    EXPECT_FALSE(manifest.replaceInstallerRootWith("root")) << name;
    EXPECT_FALSE(manifest.saveInstallManifestAs(std::nullopt)) << name;
    EXPECT_FALSE(manifest.saveInstallManifestAs(folder / "saved")) << name;
  }
  EXPECT_FALSE(folder.has("saved"));
  EXPECT_FALSE(folder.has("missing"));
  EXPECT_EQ(folder.read("properties"), "a=b\n");
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, PathIsNoUrl) {
  for (const char* name : {"a b", "100%", "%41", "a#b", "a?b", "\xC3\xA9", "http:x", "~"}) {
    folder.makeFile(name, manifestOf("<installfeature/>"));
    EXPECT_TRUE(InstallManifest(folder / name).replaceInstallerRootWith("root")) << name;
  }
}

TEST_F(InstallManifestTest, FileOutsideIsNotPulledIn) {
  folder.makeFile("secret", "SECRET");
  folder.makeFile("file", "<!DOCTYPE root [<!ENTITY e SYSTEM \"" + (folder / "secret") + "\">]><root>&e;</root>");
  EXPECT_FALSE(InstallManifest(folder / "file").saveInstallManifestAs(folder / "saved"));
  EXPECT_FALSE(folder.has("saved"));
}

// ----- Saving -----

TEST_F(InstallManifestTest, SaveToAPathLeavesTheLoadedFileAlone) {
  folder.makeFile("file", "<a><b/></a>");
  EXPECT_TRUE(InstallManifest(folder / "file").saveInstallManifestAs(folder / "saved"));
  EXPECT_EQ(folder.read("file"), "<a><b/></a>");
  EXPECT_EQ(folder.read("saved"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<a>\n    <b></b>\n</a>");
}

TEST_F(InstallManifestTest, SaveReplacesTheFileAlsoWhereItIsALink) {
  folder.makeFile("file", "<a/>", 0640);
  ASSERT_EQ(link((folder / "file").c_str(), (folder / "second name").c_str()), 0);
  folder.makeLink("link", "second name");
  for (const char* name : {"file", "link"}) {
    EXPECT_TRUE(InstallManifest(folder / name).saveInstallManifestAs(std::nullopt));
    EXPECT_TRUE(S_ISREG(folder.attributes(name).st_mode)) << name;
    EXPECT_EQ(folder.mode(name), 0640U) << name;
  }
  EXPECT_EQ(folder.read("second name"), "<a/>");
  EXPECT_EQ(folder.names(), (Lines{"file", "link", "outside", "second name"}));
}

TEST_F(InstallManifestTest, FailedSaveAnswersNoAndLeavesNothing) {
  folder.makeFile("file", "<a/>");
  folder.makeFile("folder/inside", "text");
  const InstallManifest manifest(folder / "file");
  EXPECT_FALSE(manifest.saveInstallManifestAs(folder / "folder"));
  EXPECT_FALSE(manifest.saveInstallManifestAs(folder / "file/below"));
  EXPECT_FALSE(manifest.saveInstallManifestAs(folder / "missing/file"));
  EXPECT_FALSE(manifest.saveInstallManifestAs(OptionalString("")));
  EXPECT_EQ(folder.names(), (Lines{"file", "folder", "outside"}));
  EXPECT_EQ(folder.names("folder"), (Lines{"inside"}));
  EXPECT_EQ(folder.read("file"), "<a/>");
  EXPECT_TRUE(log().empty());
}

}  // namespace

}  // namespace hotfix
