// Runs the examples of docs/file-formats.md through the classes that they are about.

#include <cstdio>

#include "MacInstaller/InstallManifest.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/JavaProperties.h"
#include "MacInstaller/Properties.h"
#include "Platform/SystemLog.h"
#include "Platform/posix/SystemHabits.h"
#include "Support/PropertyListReader.h"
#include "Tests/Support/InstanceFixture.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

using markdown::Block;
using markdown::Texts;

class FileFormatsDocumentTest : public InstanceTest {
 protected:
  const std::string document = markdown::readDocument("docs/file-formats.md");

  std::vector<Block> blocksUnder(const std::string& heading) const {
    std::vector<Block> blocks = markdown::blocksOf(document);
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), [&](const Block& b) { return b.heading != heading; }),
                 blocks.end());
    return blocks;
  }

  std::vector<Texts> rowsUnder(const std::string& heading) const { return markdown::tablesOf(document)[heading]; }

  /// A cell without its backquotes.
  static std::string bare(const std::string& cell) {
    return cell.size() > 1 && cell.front() == '`' ? cell.substr(1, cell.size() - 2) : cell;
  }

  static std::string decodedBase64(const std::string& text) {
    const auto data = property_list::read("<data>" + text + "</data>");
    EXPECT_TRUE(data && data->asData());
    return data && data->asData() ? data->asData()->bytes : "";
  }

  std::string entriesOf(const std::string& text) const {
    const JavaProperties properties(folder.makeFile("file", text));
    std::string result;
    for (const std::string& key : properties.propertyNames()) {
      result += "\"" + key + "\" = \"" + properties.getPropertyForKey(key).value_or("?") + "\"\n";
    }
    return result;
  }

  /// The file that a text becomes when it is loaded and saved.
  std::string savedProperties(const std::string& text) const {
    const JavaProperties properties(folder.makeFile("file", text));
    EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
    return folder.read("file");
  }
  std::string savedList(const std::string& bytes) const {
    const Properties list(folder.makeFile("file", bytes));
    EXPECT_TRUE(list.savePropertiesToFile(std::nullopt)) << bytes;
    return folder.read("file");
  }
  std::string savedManifest(const std::string& text) const {
    InstallManifest manifest(folder.makeFile("file", text));
    EXPECT_TRUE(manifest.replaceInstallerRootWith("file:/Volumes/Disk/pkg"));
    EXPECT_TRUE(manifest.saveInstallManifestAs(std::nullopt));
    return folder.read("file") + "\n";
  }
};

TEST_F(FileFormatsDocumentTest, PropertiesFilesAreReadAndSavedAsShown) {
  const std::vector<Block> blocks = blocksUnder("Properties files");
  ASSERT_EQ(blocks.size(), 9U);
  for (size_t at = 0; at < blocks.size(); at += 3) {
    ASSERT_EQ(blocks[at].purpose + blocks[at + 1].purpose + blocks[at + 2].purpose, "readentriessaved");
    EXPECT_EQ(entriesOf(blocks[at].text), blocks[at + 1].text);
    EXPECT_EQ(savedProperties(blocks[at].text), blocks[at + 2].text);
  }
}

TEST_F(FileFormatsDocumentTest, SavedPropertiesStayAsTheyAreWhereItSaysSo) {
  const std::string saved = blocksUnder("Properties files").at(2).text;
  EXPECT_EQ(savedProperties(saved), saved);
}

TEST_F(FileFormatsDocumentTest, ResultsAreJudgedAsShown) {
  const std::vector<Texts> rows = rowsUnder("Result file");
  ASSERT_FALSE(rows.empty());
  for (const Texts& cells : rows) {
    folder.makeFile(kResultFile, bare(cells.at(0)) + "\n");
    EXPECT_EQ(InstanceService(home()).getProvisioningResult() == 0 ? "success" : "failure", cells.at(1)) << cells[0];
  }
}

TEST_F(FileFormatsDocumentTest, PropertyListsAreSavedAsShown) {
  const std::vector<Block> blocks = blocksUnder("Property lists");
  ASSERT_EQ(blocks.size(), 6U);
  for (size_t at = 0; at < blocks.size(); at += 2) {
    const Block& source = blocks[at];
    ASSERT_EQ(source.purpose + blocks[at + 1].purpose, "readsaved");
    EXPECT_EQ(savedList(source.language == "base64" ? decodedBase64(source.text) : source.text), blocks[at + 1].text);
  }
}

TEST_F(FileFormatsDocumentTest, RegistryAnswersAsShown) {
  const std::vector<Block> blocks = blocksUnder("Add-on registry");
  ASSERT_EQ(blocks.size(), 1U);
  folder.makeFile(inHome("addonInfo.plist"), blocks[0].text);
  const InstanceService instance(home());
  const std::vector<Texts> rows = rowsUnder("Add-on registry");
  ASSERT_FALSE(rows.empty());
  for (const Texts& cells : rows) {
    const std::string addonID = bare(cells.at(0));
    EXPECT_EQ(instance.getAddonInstalledVersion(addonID).value_or("none"), bare(cells.at(1))) << addonID;
    EXPECT_EQ(instance.getAddonInstalledBundleID(addonID).value_or("none"), bare(cells.at(2))) << addonID;
  }
}

TEST_F(FileFormatsDocumentTest, ManifestsAreRewrittenAndPrintedAsShown) {
  const std::vector<Block> blocks = blocksUnder("Manifests");
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_EQ(savedManifest(blocks[0].text), blocks[1].text);
}

TEST_F(FileFormatsDocumentTest, LogLinesHaveTheShownForm) {
  const std::vector<Block> blocks = blocksUnder("Log lines");
  ASSERT_EQ(blocks.size(), 2U);
  const int file = open((folder / "trace").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  platform::addLogFile(file);
  const std::string& message = blocks[0].text;
  platform::log(platform::LogLevel::Info, "%s", message.substr(0, message.size() - 1).c_str());
  platform::removeLogFile(file);
  close(file);

  char machine[256] = {};
  gethostname(machine, sizeof machine - 1);
  const std::map<std::string, std::string> values = {
      {"HOST", machine}, {"PROGRAM", platform::programName()}, {"PROCESS", std::to_string(getpid())}};
  std::string expected = blocks[1].text;
  for (const auto& [name, value] : values) expected.replace(expected.find(name), name.size(), value);
  EXPECT_EQ(folder.read("trace"), expected);
}

TEST_F(FileFormatsDocumentTest, StampsAreAsShown) {
  const std::vector<Texts> rows = rowsUnder("Version stamps");
  ASSERT_FALSE(rows.empty());
  for (const Texts& cells : rows) {
    platform::LocalTime moment = {};
    ASSERT_EQ(std::sscanf(cells.at(0).c_str(), "%d-%d-%d %d:%d", &moment.year, &moment.month, &moment.day, &moment.hour,
                          &moment.minute),
              5);
    setClock(moment);
    EXPECT_EQ(InstallUtil::generateNewManifestVersion(), cells.at(1));
  }
}

TEST_F(FileFormatsDocumentTest, EveryExampleIsRead) {
  const std::vector<std::string> read = {"Properties files", "Property lists", "Add-on registry", "Manifests",
                                         "Log lines"};
  for (const Block& block : markdown::blocksOf(document)) {
    EXPECT_NE(std::find(read.begin(), read.end(), block.heading), read.end()) << block.heading;
  }
}

}  // namespace

}  // namespace hotfix
