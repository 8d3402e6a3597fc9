// Hostile texts: the environment, names and records that reach the log or a command line, and lists and manifests.

#include "Tests/EndToEnd/AttacksTest.h"

namespace hotfix {

namespace {

std::string xmlText(const std::string& text) {
  std::string result;
  for (const char c : text) result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
  return result;
}

// ----- The environment -----

class AttacksEnvironmentTest : public AttacksForEachProtection {
 protected:
  void SetUp() override {
    AttacksForEachProtection::SetUp();
    if (IsSkipped()) return;
    const std::string script = "#!/bin/sh\necho $0 >> " + std::string(kOwned) + "\n";
    for (const char* name : {"pkgutil", "java_home", "java", "sh", "rcplauncher", "printf", "echo", "init", "zone"}) {
      plantFile(ThrowAwayRoot::bob(), "/tmp/bob's/" + std::string(name), script, 0755);
    }
    giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/tmp/bob's");
  }

  /// Expects a successful run with these variables, after which the contents of the data folder have this owner.
  void expectHeldWith(const std::map<std::string, std::string>& variables, const std::string& owner = "alice") {
    std::string shown;
    for (const auto& [name, value] : variables) shown += name + "=" + value.substr(0, 60) + " ";
    SCOPED_TRACE(shown);
    installHotfixAgain();
    Call call = uninstall();
    for (const auto& [name, value] : variables) call.environment[name] = value;
    const Outcome outcome = expectHeld(call);
    EXPECT_FALSE(files().has(inside(kOwned))) << files().read(inside(kOwned));
    EXPECT_EQ(state().at(data + "/logs/one.log"), "0775 " + owner + ":admin file: one\n");
    Lines trace = outcome.trace;
    if (variables.count("TZ") != 0) {
      // The times of the lines are in another zone; their texts must be there all the same.
      for (std::string& line : trace) line.erase(0, line.find("] <") + 2);
    }
    EXPECT_EQ(trace, allTrace());
  }
};

TEST_P(AttacksEnvironmentTest, UserThatIsNoAccountGivesTheDataToNobody) {
  for (const std::string& user : Lines{"", "../..", "/", "alice/../bob", "alice/", "alice:x:0:0", "alice\nroot", "\n",
                                       "0", "#0", "%s%n", "$(id)", std::string(10000, 'u'), "\xFF\xFE"}) {
    expectHeldWith({{"USER", user}});
  }
}

TEST_P(AttacksEnvironmentTest, UserOfAnotherAccountGetsTheDataFolderOnly) { expectHeldWith({{"USER", "bob"}}, "bob"); }

TEST_P(AttacksEnvironmentTest, RootAsUserGetsTheDataFolderOnly) { expectHeldWith({{"USER", "root"}}, "root"); }

TEST_P(AttacksEnvironmentTest, UserTakesNoSettingsFromAFolderOfThatName) {
  files().makeFile(inside("/Users/bob/Library/Preferences/.GlobalPreferences.plist"), "{ AppleLocale = xx_XX; }");
  expectHeldWith({{"USER", "../Users/bob"}});
}

TEST_P(AttacksEnvironmentTest, HomeIsNotTakenForTheUsersOwn) {
  files().makeFile(inside("/tmp/bob's/Library/Preferences/.GlobalPreferences.plist"), "{ AppleLocale = xx_XX; }");
  for (const std::string& folder :
       Lines{"/tmp/bob's", "/root", "/", "", "../..", "relative", "a\nb", "/" + std::string(10000, 'h')}) {
    expectHeldWith({{"HOME", folder}});
  }
}

TEST_P(AttacksEnvironmentTest, SearchPathIsNotUsed) {
  expectHeldWith({{"PATH", "/tmp/bob's:/usr/bin:/bin"}});
  expectHeldWith({{"PATH", "/tmp/bob's"}});
  expectHeldWith({{"PATH", ""}});
}

TEST_P(AttacksEnvironmentTest, VariablesOfTheShellExecuteNothing) {
  const std::string script = "/tmp/bob's/init", command = "$(touch " + std::string(kOwned) + ")";
  const std::string function = "() { touch /tmp/owned; }";
  expectHeldWith({{"ENV", script},
                  {"BASH_ENV", script},
                  {"PROMPT_COMMAND", script},
                  {"PS1", command},
                  {"PS4", command},
                  {"CDPATH", "/tmp/bob's"},
                  {"IFS", "/"},
                  {"BASH_FUNC_java_home%%", function},
                  {"BASH_FUNC_/usr/libexec/java_home%%", function},
                  {"X", "() { :; }; touch /tmp/owned"}});
  expectHeldWith({{"ENV", command}, {"BASH_ENV", command}, {"IFS", "/_ajv"}});
}

TEST_P(AttacksEnvironmentTest, FolderForTemporaryFilesIsNotUsed) {
  for (const char* folder : {"/tmp/bob's", "/root", "/nowhere", ""}) {
    expectHeldWith({{"TMPDIR", folder}, {"TMP", folder}});
  }
}

TEST_P(AttacksEnvironmentTest, TimeZoneThatIsNoneChangesTheTimesOnly) {
  for (const std::string& zone :
       Lines{":/tmp/bob's/zone", "/tmp/bob's/zone", "../../../../tmp/bob's/zone", ":/root/victim", ":", "", "A", "%s%n",
             "\n", "HFX-05:30" + std::string(100000, '0'), std::string(100000, 'Z'), "../" + std::string(100000, '.'),
             "<\n>5"}) {
    // Where a zone's name is part of it, the stamps of the run are those of another zone too.
    expectHeldWith({{"TZ", zone}});
  }
}

TEST_P(AttacksEnvironmentTest, LanguageIsNotThatOfTheEnvironment) {
  for (const std::string& value :
       Lines{"/tmp/bob's", "../../../tmp/bob's", "C.UTF-8", "tr_TR.UTF-8", "%s%n", std::string(10000, 'l')}) {
    std::map<std::string, std::string> variables;
    for (const char* name : {"LANG", "LC_ALL", "LC_MESSAGES", "LANGUAGE", "LOCPATH", "NLSPATH"})
      variables[name] = value;
    expectHeldWith(variables);
  }
}

INSTANTIATE_TEST_SUITE_P(Protections, AttacksEnvironmentTest, ::testing::Values(Protections::Off), nameOfProtections);

// ----- Texts in the log -----

class AttacksLogTest : public AttacksForEachText {
 protected:
  /// What would be a line of its own. Without a colon, which a home folder must not have.
  static std::string forged() { return "Nov  3 09.05.07 host hotfixUninstall[1] <Info> forged"; }
  static std::string forgedWithColon() { return "Nov  3 09.05.07 host hotfixUninstall[1] <Info>: forged"; }

  /// Expects every line of the trace to begin as one, or with the tab of a continued one.
  void expectNoForgedLine(const Outcome& outcome) {
    ASSERT_NE(outcome.trace, Lines());
    int seen = 0;
    for (const std::string& line : outcome.trace) {
      EXPECT_NE(line.compare(0, 1, "?"), 0) << line;
      seen += line.find("forged") != std::string::npos;
    }
    EXPECT_GT(seen, 0) << "the text did not reach the log";
    const std::string bytes = files().read(inside(kTraceFile));
    for (const char* separator : {"\r", "\b", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9", "\nNov  3 09.05.07"}) {
      EXPECT_EQ(bytes.find(separator), std::string::npos);
    }
  }
};

TEST_P(AttacksLogTest, NameOfTheHomeFolderForgesNoLine) {
  makeInstance("/Applications/Pro" + text() + forged() + "duct.app", data);
  for (const char* path : {"", "/.config", "/.config/rcpinstall.properties", "/logs", "/logs/one.log"}) {
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data + path);
  }
  expectNoForgedLine(expectHeld());
}

TEST_P(AttacksLogTest, NameOfTheDataFolderForgesNoLine) {
  data = "/Users/alice/" + text() + forged();
  plantLink(ThrowAwayRoot::alice(), data, "/etc");  // so that it is logged
  expectNoForgedLine(expectHeld());
}

TEST_P(AttacksLogTest, RefusedHomeForgesNoLine) {
  Call call = uninstall();
  call.commandLine[2] = home = "/nowhere" + text() + forgedWithColon();
  const Snapshot before = outside();
  const Outcome outcome = attacked(call);
  EXPECT_EQ(outcome.ending, "exit 1");
  expectNoForgedLine(outcome);
  // But for the folder itself, which is made for the passes.
  for (const std::string& change : differences(before, outside())) {
    EXPECT_EQ(change, "+ " + home + ": 0755 root:root folder");
  }
}

TEST_P(AttacksLogTest, VersionOfTheBundleForgesNoLine) {
  const std::string version = text() + forgedWithColon();
  files().makeFile(inside(bundle + "/Contents/Info.plist"),
                   "<plist><dict><key>CFBundleShortVersionString</key><string>" + xmlText(version) +
                       "</string><key>CFBundleIdentifier</key><string>" + xmlText(version) +
                       "</string></dict></plist>");
  const Snapshot before = outside();
  const Outcome outcome = attacked(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  expectNoForgedLine(outcome);
  ASSERT_EQ(outcome.children.size(), allChildren().size());
  EXPECT_EQ(outcome.children[4].commandLine, collect(data, kJavaHome, version));
  expectUnchanged(before);
}

TEST_P(AttacksLogTest, ProgramOfAnotherUserForgesNoLine) {
  // Whose programs run is nobody's choice but theirs, and all of them are named in the trace.
  const std::string program = "/tmp/" + text() + forgedWithColon();
  startProgram(program, ThrowAwayRoot::bob());
  expectNoForgedLine(expectHeld());
}

TEST_P(AttacksLogTest, RecordsOfTheHotfixAreNotLogged) {
  const std::string hostile = text() + forgedWithColon();
  setRecords({{"SKIPRUNNINGCHECK", "false"},
              {"hotfixVersion", xmlText(hostile)},
              {"installedHotfixBundleID", xmlText(hostile)},
              {"version", xmlText(hostile)}});
  const Snapshot before = outside();
  const Outcome outcome = attacked(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.trace, allTrace());
  ASSERT_EQ(outcome.children.size(), allChildren().size());
  EXPECT_EQ(outcome.children[2].commandLine, (CommandLine{kPkgutil, "--forget", hostile}));
  expectUnchanged(before);
}

INSTANTIATE_TEST_SUITE_P(Texts, AttacksLogTest,
                         ::testing::Values(NamedText{"Newline", "\n"}, NamedText{"CarriageReturn", "\r"},
                                           NamedText{"Both", "\r\n"}, NamedText{"NextLine", "\xC2\x85"},
                                           NamedText{"LineSeparator", "\xE2\x80\xA8"},
                                           NamedText{"ParagraphSeparator", "\xE2\x80\xA9"},
                                           NamedText{"Backspaces", "\b\b\b\b"}, NamedText{"Escape", "\x1B[2K\x1B[1A"},
                                           NamedText{"FeedAndTab", "\f\v"}),
                         nameWithoutProtections);

// ----- Texts in command lines -----

class AttacksCommandTest : public AttacksForEachText {
 protected:
  /// Expects a run as always but for one command line, and that nothing was executed.
  void expectHarmless(const std::vector<CommandLine>& children) {
    const Snapshot before = outside();
    const Outcome outcome = attacked(uninstall());
    expectSucceeded(outcome, children);
    expectUnchanged(before);  // "touch owned" would have left a file at the top
  }
};

TEST_P(AttacksCommandTest, IsOneArgumentOrNone) {
  const std::string value = "<string>" + xmlText(text()) + "</string>";
  setRecords({{"SKIPRUNNINGCHECK", "false"},
              {"hotfixVersion", xmlText(text())},
              {"installedHotfixBundleID", xmlText(text())},
              {"version", xmlText(text())}});
  files().makeFile(inside(bundle + "/Contents/Info.plist"),
                   "<plist><dict><key>CFBundleShortVersionString</key>" + value + "</dict></plist>");
  // No locale identifier, so it is not handed on.
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/Library/Preferences/.GlobalPreferences.plist",
            "<plist><dict><key>AppleLocale</key>" + value + "</dict></plist>");
  data = attackersPlace = "/Users/alice/" + text();
  plantFile(ThrowAwayRoot::alice(), data + "/file", "");
  std::vector<CommandLine> children = allChildren();
  children[2] = {kPkgutil, "--forget", text()};
  children[4] = collect(data, kJavaHome, text());
  expectHarmless(children);
}

TEST_P(AttacksCommandTest, JavaHomeIsNoCommand) {
  // What the finder prints is a folder, and nothing that a shell would read again.
  const std::string finder = "printf '%s\\n' \"$(cat /Library/answer)\"";
  files().makeFile(inside("/Library/answer"), "/" + text() + "\n");
  makeStandIn(kJavaHomeFinder, finder);
  std::vector<CommandLine> children = allChildren();
  children.erase(children.begin() + 4);  // there is no Java at such a place
  expectHarmless(children);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, AttacksCommandTest,
    ::testing::Values(NamedText{"Semicolon", "; touch owned"}, NamedText{"Substitution", "$(touch owned)"},
                      NamedText{"Backquotes", "`touch owned`"}, NamedText{"Apostrophe", "';touch owned;'"},
                      NamedText{"Quote", "\";touch owned;\""}, NamedText{"Newline", "a\ntouch owned\n"},
                      NamedText{"Pipe", "a | touch owned"}, NamedText{"And", "a && touch owned"},
                      NamedText{"Redirection", "> owned"}, NamedText{"Dash", "-"}, NamedText{"Option", "--volume"},
                      NamedText{"OptionAndValue", "-f -- com.qor.other.pkg"}, NamedText{"Blanks", "two  words"},
                      NamedText{"Pattern", "*"}, NamedText{"Tilde", "~root"}, NamedText{"Variable", "$USER ${IFS}"},
                      NamedText{"Format", "%s%n%d"}, NamedText{"Backslash", "\\"},
                      NamedText{"NotUtf8Escape", "\xC3\xA9"}),
    nameWithoutProtections);

// ----- Property lists and manifests -----

/// A list and a manifest of the same kind of malice.
struct Malice {
  std::string list;      ///< with the text "de_DE", or what stands for it, as AppleLocale and all that is asked for
  std::string manifest;  ///< an uninstall manifest
};

std::string repeated(const std::string& text, int times) {
  std::string result;
  for (int time = 0; time < times; ++time) result += text;
  return result;
}

std::string listWith(const std::string& prolog, const std::string& value) {
  std::string list = "<?xml version=\"1.0\"?>\n" + prolog + "<plist version=\"1.0\"><dict>";
  for (const char* key : {"AppleLocale", "CFBundleShortVersionString", "CFBundleIdentifier", "hotfixVersion",
                          "installedHotfixBundleID", "version", "newInstallLocation", "SKIPRUNNINGCHECK"}) {
    list += "<key>" + std::string(key) + "</key>" + value;
  }
  return list + "</dict></plist>\n";
}

std::string bombEntities() {
  std::string result = "<!ENTITY e0 \"0123456789\">";
  for (int level = 1; level < 10; ++level) {
    result +=
        "<!ENTITY e" + std::to_string(level) + " \"" + repeated("&e" + std::to_string(level - 1) + ";", 10) + "\">";
  }
  return result;
}

/// A binary list of arrays, each of which holds the next one as often as told; the last one holds the first, or
/// nothing.
std::string binaryArrays(int arrays, int times, bool isCircular) {
  const auto twoBytes = [](int number) {
    return std::string{static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
  };
  std::string list = "bplist00", offsets;
  for (int array = 0; array < arrays; ++array) {
    offsets += std::string(2, '\0') + twoBytes(static_cast<int>(list.size()));
    const bool isLast = array + 1 == arrays;
    const int references = isLast && !isCircular ? 0 : times;
    list += static_cast<char>(0xA0 + references);
    for (int reference = 0; reference < references; ++reference) list += twoBytes(isLast ? 0 : array + 1);
  }
  const auto eightBytes = [&twoBytes](size_t number) {
    return std::string(6, '\0') + twoBytes(static_cast<int>(number));
  };
  return list + offsets + std::string(6, '\0') + '\x04' + '\x02' + eightBytes(static_cast<size_t>(arrays)) +
         eightBytes(0) + eightBytes(list.size());
}

Malice malice(const std::string& kind) {
  constexpr int kDeep = 10000;
  const std::string secret = "file:///root/victim", manifestEnd = "<install><old url=\"${installer.root}/x\"/>";
  if (kind == "ExternalEntity") {
    const std::string entity = " [<!ENTITY x SYSTEM \"" + secret + "\">]>";
    return {listWith("<!DOCTYPE plist" + entity, "<string>&x;</string>"),
            "<!DOCTYPE install" + entity + manifestEnd + "&x;</install>"};
  }
  if (kind == "ParameterEntity") {
    const std::string entity = " [<!ENTITY % x SYSTEM \"" + secret + "\"> %x;]>";
    return {listWith("<!DOCTYPE plist" + entity, "<array><string>x</string></array>"),
            "<!DOCTYPE install" + entity + manifestEnd + "</install>"};
  }
  if (kind == "ExternalDocumentType") {
    const std::string type = " SYSTEM \"" + secret + "\">";
    return {listWith("<!DOCTYPE plist" + type, "<string>&x;</string>"),
            "<!DOCTYPE install" + type + manifestEnd + "</install>"};
  }
  if (kind == "EntityBomb") {
    return {listWith("<!DOCTYPE plist [" + bombEntities() + "]>", "<string>&e9;</string>"),
            "<!DOCTYPE install [" + bombEntities() + "]>" + manifestEnd + "&e9;</install>"};
  }
  if (kind == "DeepNesting") {
    return {listWith("", repeated("<array>", kDeep) + repeated("</array>", kDeep)),
            repeated("<install>", kDeep) + repeated("</install>", kDeep)};
  }
  if (kind == "DeepOldStyle")
    return {"{ AppleLocale = " + repeated("(", kDeep) + repeated(")", kDeep) + "; }", "<install/>"};
  if (kind == "UnclosedOldStyle") return {repeated("{a=", kDeep), repeated("<install>", kDeep)};
  if (kind == "DeepBinary") return {binaryArrays(kDeep, 1, false), "<install/>"};
  if (kind == "CircularBinary") return {binaryArrays(3, 1, true), "<install/>"};
  return {binaryArrays(40, 10, false), "<install/>"};  // BinaryBomb
}

class AttacksSettingsTest : public AttacksForEachProtection {};

TEST_P(AttacksSettingsTest, SettingsOfMoreThanEightMebibytesAreNotRead) {
  const std::string list = "<dict><key>AppleLocale</key><string>de_DE</string></dict>";
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/Library/Preferences/.GlobalPreferences.plist",
            list + std::string(8U << 20U, ' '));
  const Outcome outcome = expectHeld();
  EXPECT_EQ(outcome.commandLines(), allChildren());
}

INSTANTIATE_TEST_SUITE_P(Protections, AttacksSettingsTest, ::testing::Values(Protections::Off), nameOfProtections);

class AttacksListTest : public AttacksForEachText {};

TEST_P(AttacksListTest, IsNoListWhereverItLies) {
  const std::string list = malice(text()).list;
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/Library/Preferences/.GlobalPreferences.plist", list);
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/Library/Preferences/com.qor.rcp.install.mac.plist", list);
  plantFile(ThrowAwayRoot::alice(), kConfigurationFile, list);
  files().makeFile(inside("/Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Info.plist"), list);
  files().makeFile(inside(bundle + "/Contents/Info.plist"), list);
  files().makeFile(inHome("installInfo.plist"), list, 0640);
  const Snapshot before = outside();
  const Outcome outcome = attacked(uninstall());
  expectSucceeded(outcome);
  EXPECT_FALSE(isSeen(outcome, kSecret));
  // No receipt is known, no locale and no version: as without any of them.
  ASSERT_EQ(outcome.children.size(), 6U);
  const CommandLine collection = outcome.children[3].commandLine;
  ASSERT_EQ(collection.size(), 14U);
  EXPECT_TRUE(isStampOfNow(collection[6])) << collection[6];
  EXPECT_EQ(outcome.commandLines(), (std::vector<CommandLine>{uninstallLaunch(), uninstallLaunch(), findJava(),
                                                              collect(data, kJavaHome, collection[6]),
                                                              launch("cleanup", data), launch("update", data)}));
  EXPECT_EQ(files().read(inHome("installInfo.plist")), list);  // and not written back in part
  expectUnchanged(before);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, AttacksListTest,
    ::testing::Values(NamedText{"ExternalEntity", "ExternalEntity"},
                      NamedText{"ExternalDocumentType", "ExternalDocumentType"}, NamedText{"EntityBomb", "EntityBomb"},
                      NamedText{"DeepNesting", "DeepNesting"}, NamedText{"DeepOldStyle", "DeepOldStyle"},
                      NamedText{"UnclosedOldStyle", "UnclosedOldStyle"}, NamedText{"DeepBinary", "DeepBinary"},
                      NamedText{"CircularBinary", "CircularBinary"}, NamedText{"BinaryBomb", "BinaryBomb"}),
    nameWithoutProtections);

class AttacksManifestTest : public AttacksForEachText {};

TEST_P(AttacksManifestTest, IsHandedOnAsItIs) {
  const std::string manifest = malice(text()).manifest;
  files().makeFile(inHome("deploy/uninstall.hotfix.xml"), manifest, 0660);
  files().makeFile(inHome("deploy/install.xml"), manifest);
  const Outcome outcome = expectHeld();
  EXPECT_FALSE(isSeen(outcome, kSecret));
  EXPECT_EQ(files().read(inHome("deploy/install.update.xml")), manifest);
  EXPECT_EQ(files().read(inHome("deploy/install." + std::string(kOldStamp) + ".xml")), manifest);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, AttacksManifestTest,
    ::testing::Values(NamedText{"ExternalEntity", "ExternalEntity"}, NamedText{"ParameterEntity", "ParameterEntity"},
                      NamedText{"ExternalDocumentType", "ExternalDocumentType"}, NamedText{"EntityBomb", "EntityBomb"},
                      NamedText{"DeepNesting", "DeepNesting"}, NamedText{"Unclosed", "UnclosedOldStyle"}),
    nameWithoutProtections);

}  // namespace

}  // namespace hotfix
