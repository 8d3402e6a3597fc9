#include "MacInstaller/InstallManifest.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using Lines = std::vector<std::string>;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr char kPrintedDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n";

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

  /// The text of the first "url" that the rewriting leaves in the file.
  std::string rewrittenUrl(const std::string& url, const std::string& root = "file:/i") const {
    const std::string text = rewritten(manifestOf(installFeature("<feature url=\"" + url + "\"/>")), root).second;
    const size_t start = text.find("url=\"") + 5;
    return text.substr(start, text.find('"', start) - start);
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

TEST_F(InstallManifestTest, RootIsPutInExactlyAsItIs) {
  EXPECT_EQ(rewrittenUrl("${installer.root}/f"), "file:/i/f");
  EXPECT_EQ(rewrittenUrl("${installer.root}f"), "file:/if");
  EXPECT_EQ(rewrittenUrl("${installer.root}/f", "file:/i/"), "file:/i//f");
  EXPECT_EQ(rewrittenUrl("${installer.root}/f", ""), "/f");
  EXPECT_EQ(rewrittenUrl("${installer.root}/f", "file:/My Disk/%20"), "file:/My Disk/%20/f");
  EXPECT_EQ(rewrittenUrl("${installer.root}", "/\xC3\xA9\xE2\x82\xAC"), "/\xC3\xA9\xE2\x82\xAC");
}

TEST_F(InstallManifestTest, RootWithMarksOfXmlIsReadBackAsItIs) {
  EXPECT_EQ(rewrittenUrl("${installer.root}/f", "/a&b<c>'d"), "/a&amp;b&lt;c&gt;'d/f");
}

TEST_F(InstallManifestTest, EveryOccurrenceIsReplacedAndNoneOfTheNewText) {
  EXPECT_EQ(rewrittenUrl("${installer.root}/a:${installer.root}/b"), "file:/i/a:file:/i/b");
  EXPECT_EQ(rewrittenUrl("${installer.root}", "<${installer.root}>"), "&lt;${installer.root}&gt;");
}

TEST_F(InstallManifestTest, OtherValuesStayAsTheyAre) {
  for (const char* url : {"", "http://example.org/x", "${Installer.root}/x", "${installer-root}", "{installer.root}"}) {
    EXPECT_EQ(rewrittenUrl(url), url);
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

TEST_F(InstallManifestTest, FeatureWithoutUrlIsPassedOver) {
  const auto [answer, text] =
      rewritten(manifestOf(installFeature("<feature id=\"1\"/><feature url=\"${installer.root}/2\"/>")));
  EXPECT_TRUE(answer);
  EXPECT_THAT(text, HasSubstr("<feature id=\"1\"></feature>"));
  EXPECT_THAT(text, HasSubstr("<feature url=\"file:/i/2\"></feature>"));
}

TEST_F(InstallManifestTest, EveryInstallFeatureIsEntered) {
  const std::string text = rewritten(manifestOf(installFeature("<feature url=\"${installer.root}/1\"/>") + "<other/>" +
                                                installFeature("<feature url=\"${installer.root}/2\"/>")))
                               .second;
  EXPECT_THAT(text, HasSubstr("file:/i/1"));
  EXPECT_THAT(text, HasSubstr("file:/i/2"));
}

TEST_F(InstallManifestTest, InstallFeatureWithoutRequirementsIsPassedOverInSilence) {
  const auto [answer, text] =
      rewritten(manifestOf("<installfeature><feature url=\"${installer.root}/1\"/></installfeature>" +
                           installFeature("<feature url=\"${installer.root}/2\"/>")));
  EXPECT_TRUE(answer);
  EXPECT_THAT(text, HasSubstr("${installer.root}/1"));
  EXPECT_THAT(text, HasSubstr("file:/i/2"));
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, InstallFeatureWithNothingToReplaceIsASuccess) {
  EXPECT_TRUE(rewritten(manifestOf("<installfeature/>")).first);
  EXPECT_TRUE(rewritten(manifestOf(installFeature(""))).first);
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, OnlyTheFirstRequirementsIsEntered) {
  const std::string text =
      rewritten(manifestOf("<installfeature><requirements><feature url=\"${installer.root}/1\"/></requirements>"
                           "<requirements><feature url=\"${installer.root}/2\"/></requirements></installfeature>"))
          .second;
  EXPECT_THAT(text, HasSubstr("file:/i/1"));
  EXPECT_THAT(text, HasSubstr("${installer.root}/2"));
}

TEST_F(InstallManifestTest, OnlyTheFirstElementOfAnUpperLevelIsEntered) {
  const std::string feature = installFeature("<feature url=\"${installer.root}/1\"/>");
  const std::string path[] = {"domain-object", "object-data", "install"};
  for (size_t level = 0; level < 3; ++level) {
    std::string element = feature;
    std::string empty;
    for (size_t inner = 3; inner-- > level;) {
      element = "<" + path[inner] + ">" + element + "</" + path[inner] + ">";
      empty = "<" + path[inner] + ">" + (inner == 2 ? "<installfeature/>" : empty) + "</" + path[inner] + ">";
    }
    for (const auto& [content, expected] :
         {std::pair(element + empty, "file:/i/1"), std::pair(empty + element, "${installer.root}/1")}) {
      std::string text = content;
      for (size_t outer = level; outer-- > 0;) text = "<" + path[outer] + ">" + text + "</" + path[outer] + ">";
      EXPECT_THAT(rewritten("<root>" + text + "</root>").second, HasSubstr(expected)) << text;
    }
  }
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
  expectStop(manifestOf(""), "Not able to get install-feature element");
  expectStop(manifestOf("<install-feature/>"), "Not able to get install-feature element");
}

TEST_F(InstallManifestTest, LaterElementDoesNotMakeUpForTheFirst) {
  expectStop(
      "<root><domain-object/><domain-object><object-data><install><installfeature/></install></object-data>"
      "</domain-object></root>",
      "Not able to get object-data element");
}

TEST_F(InstallManifestTest, ManifestWithoutFeaturesCanStillBeSaved) {
  const auto [answer, text] = rewritten(manifestOf(""));
  EXPECT_FALSE(answer);
  EXPECT_EQ(text, std::string(kPrintedDeclaration) +
                      "<root>\n    <domain-object>\n        <object-data>\n            <install></install>\n"
                      "        </object-data>\n    </domain-object>\n</root>");
}

TEST_F(InstallManifestTest, RewritingAgainFindsNothingLeft) {
  folder.makeFile("file", manifestOf(installFeature("<feature url=\"${installer.root}/1\"/>")));
  InstallManifest manifest(folder / "file");
  EXPECT_TRUE(manifest.replaceInstallerRootWith("first"));
  EXPECT_TRUE(manifest.replaceInstallerRootWith("second"));
  EXPECT_TRUE(manifest.saveInstallManifestAs(std::nullopt));
  EXPECT_THAT(folder.read("file"), HasSubstr("url=\"first/1\""));
}

TEST_F(InstallManifestTest, NothingReachesTheFileBeforeASave) {
  const std::string text = manifestOf(installFeature("<feature url=\"${installer.root}/1\"/>"));
  folder.makeFile("file", text);
  {
    InstallManifest manifest(folder / "file");
    EXPECT_TRUE(manifest.replaceInstallerRootWith("root"));
  }
  EXPECT_EQ(folder.read("file"), text);
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
       {"missing", "folder", "broken", "fifo", "empty", "cut", "binary", "properties", "two roots"}) {
    InstallManifest manifest(folder / name);
    EXPECT_FALSE(manifest.replaceInstallerRootWith("root")) << name;
    EXPECT_FALSE(manifest.saveInstallManifestAs(std::nullopt)) << name;
    EXPECT_FALSE(manifest.saveInstallManifestAs(folder / "saved")) << name;
  }
  EXPECT_FALSE(folder.has("saved"));
  EXPECT_FALSE(folder.has("missing"));
  EXPECT_EQ(folder.read("properties"), "a=b\n");
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallManifestTest, EmptyPathAnswersNo) {
  InstallManifest manifest("");
  EXPECT_FALSE(manifest.replaceInstallerRootWith("root"));
  EXPECT_FALSE(manifest.saveInstallManifestAs(std::nullopt));
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

TEST_F(InstallManifestTest, SaveKeepsTheEncodingOfTheDocument) {
  folder.makeFile("file", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a b=\"\xE9\"/>");
  EXPECT_TRUE(InstallManifest(folder / "file").saveInstallManifestAs(std::nullopt));
  EXPECT_EQ(folder.read("file"),
            "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"yes\"?>\n<a b=\"\xE9\"></a>");
}

TEST_F(InstallManifestTest, SaveReplacesTheFileAndKeepsItsMode) {
  folder.makeFile("file", "<a/>", 0640);
  ASSERT_EQ(link((folder / "file").c_str(), (folder / "second name").c_str()), 0);
  EXPECT_TRUE(InstallManifest(folder / "file").saveInstallManifestAs(std::nullopt));
  EXPECT_EQ(folder.mode("file"), 0640U);
  EXPECT_EQ(folder.read("second name"), "<a/>");
  EXPECT_EQ(folder.names(), (Lines{"file", "outside", "second name"}));
}

TEST_F(InstallManifestTest, SaveReplacesALink) {
  folder.makeFile("target", "<a/>");
  folder.makeLink("link", "target");
  EXPECT_TRUE(InstallManifest(folder / "link").saveInstallManifestAs(std::nullopt));
  EXPECT_TRUE(S_ISREG(folder.attributes("link").st_mode));
  EXPECT_EQ(folder.read("target"), "<a/>");
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

TEST_F(InstallManifestTest, SavedManifestIsReadAsTheSame) {
  const auto [answer, text] = rewritten(manifestOf(installFeature("<feature url=\"${installer.root}/1\"/>")));
  EXPECT_TRUE(answer);
  EXPECT_EQ(rewritten(text).second, text);
}

}  // namespace

}  // namespace hotfix
