#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "MacInstaller/InstallManifest.h"
#include "Tests/Laws/Random.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using laws::forCases;
using laws::Random;
using Lines = std::vector<std::string>;

constexpr char kPlaceholder[] = "${installer.root}";

// ----- Random manifests -----

/// Text of an element or, for \a quote, of an attribute: now and then with a placeholder.
std::string anyCharacters(Random& random, char quote) {
  static const std::vector<std::string> pieces = {kPlaceholder, "&amp;",  "&lt;",      "&#10;",       "&#13;",
                                                  "&#9;",       "&gt;",   "&e;",       "]]&gt;",      " ",
                                                  "\n",         "&#233;", "installer", "http://host/"};
  static const std::vector<std::string> odd = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "$", "{", "}", "\t"};
  std::string text;
  for (size_t left = random.below(5); left > 0; --left) {
    text += random.isOneIn(2) ? random.oneOf(pieces) : random.isOneIn(3) ? random.oneOf(odd) : "abc";
    if (random.isOneIn(6)) text += quote == '"' ? '\'' : '"';
  }
  return text;
}

std::string anyAttributes(Random& random) {
  static const std::vector<std::string> names = {"url", "id", "Url", "p:url", "xml:space", "urls"};
  std::string text;
  for (const std::string& name : names) {
    if (!random.isOneIn(name == "url" ? 2 : 6)) continue;
    const char quote = random.isOneIn(2) ? '"' : '\'';
    std::string value =
        name == "xml:space" ? random.oneOf<std::string>({"preserve", "default"}) : anyCharacters(random, quote);
    if (name == "url" && random.isOneIn(2)) value.insert(0, kPlaceholder);
    text += " " + name + "=" + quote + value + quote;
  }
  return text;
}

/// What may lie between elements.
std::string anyMiscellany(Random& random) {
  static const std::vector<std::string> pieces = {"\n  ", " ", "<!-- ${installer.root} -->",
                                                  "<?pi ${installer.root}?>"};
  return random.isOneIn(3) ? random.oneOf(pieces) : "";
}

std::string anyElement(Random& random, int level);

std::string anyContent(Random& random, int level) {
  std::string content;
  for (size_t left = random.below(level < 6 ? 3 : 2); left > 0; --left) {
    if (random.isOneIn(5)) content += anyCharacters(random, '\0');
    if (random.isOneIn(8)) content += "<![CDATA[ ${installer.root} <&> ]]>";
    content += anyMiscellany(random);
    if (level < 8 && random.isOneIn(2)) content += anyElement(random, level + 1);
  }
  return content;
}

/// An element that lies where the features are looked for, or off that path.
std::string anyElement(Random& random, int level) {
  static const std::vector<std::string> path = {"domain-object",  "object-data",  "install",
                                                "installfeature", "requirements", "feature"};
  static const std::vector<std::string> others = {"feature", "requirements",   "p:feature",
                                                  "other",   "installfeature", "Feature"};
  const size_t step = static_cast<size_t>(level) - 1;
  const bool isOnPath = step < path.size() && !random.isOneIn(15);
  const std::string name = isOnPath ? path[step] : random.oneOf(others);
  std::string content = anyContent(random, level);
  if (isOnPath && step + 1 < path.size()) {
    for (size_t left = random.below(8) < 6 ? 1 : 2; left > 0; --left) {
      content += anyElement(random, level + 1) + anyMiscellany(random);
    }
  }
  return "<" + name + anyAttributes(random) + ">" + content + "</" + name + ">";
}

std::string anyManifest(Random& random) {
  static const std::vector<std::string> declarations = {
      "", "<?xml version=\"1.0\"?>", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n",
      "<?xml version='1.0' encoding='utf-8' standalone='no'?>",
      "<?xml version=\"1.0\" encoding=\"US-ASCII\" standalone=\"yes\"?>"};
  static const std::string type =
      "<!DOCTYPE root [<!ENTITY e \"${installer.root} &#233;\"><!ATTLIST feature url CDATA \"${installer.root}\">]>";
  const std::string space = random.isOneIn(4) ? " xmlns=\"urn:default\"" : "";
  std::string manifest = anyMiscellany(random);
  manifest = random.oneOf(declarations) + (manifest.compare(0, 1, "<") == 0 ? manifest : "") + type;
  manifest += "<root xmlns:p=\"urn:p\"" + space + anyAttributes(random) + ">" + anyContent(random, 8);
  for (size_t left = random.below(2) + 1; left > 0; --left) manifest += anyElement(random, 1);
  manifest += "</root>" + anyMiscellany(random);
  if (manifest.find("US-ASCII") != std::string::npos) {
    manifest.erase(std::remove_if(manifest.begin(), manifest.end(), [](char c) { return (c & 0x80) != 0; }),
                   manifest.end());
  }
  return manifest;
}

// ----- What a document says, by libxml2 alone -----

struct DocumentFreer {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, DocumentFreer>;

Document parsed(const std::string& text) {
  const int options = XML_PARSE_NOENT | XML_PARSE_NOCDATA | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  return Document(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, options));
}

std::string textOf(xmlChar* text) {
  const std::string result = text != nullptr ? reinterpret_cast<const char*>(text) : "";
  xmlFree(text);
  return result;
}

std::string nameOf(const xmlChar* name, const xmlNs* space) {
  const std::string prefix =
      space != nullptr && space->prefix != nullptr ? reinterpret_cast<const char*>(space->prefix) : "";
  const std::string address =
      space != nullptr && space->href != nullptr ? reinterpret_cast<const char*>(space->href) : "";
  return "{" + address + "}" + prefix + ":" + reinterpret_cast<const char*>(name);
}

/// The `url` attributes that a rewriting is about.
std::set<const xmlNode*> addressesIn(xmlDoc* document) {
  static const std::string path =
      "/*/*[name()='domain-object'][1]/*[name()='object-data'][1]/*[name()='install'][1]/*[name()='installfeature']"
      "/*[name()='requirements'][1]/*[name()='feature']/@url";
  std::set<const xmlNode*> attributes;
  xmlXPathContext* context = xmlXPathNewContext(document);
  xmlXPathObject* found = xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(path.c_str()), context);
  for (int index = 0; found->nodesetval != nullptr && index < found->nodesetval->nodeNr; ++index) {
    attributes.insert(found->nodesetval->nodeTab[index]);
  }
  xmlXPathFreeObject(found);
  xmlXPathFreeContext(context);
  return attributes;
}

/// Lists what a document says, one thing a line, without the blanks that only lay it out.
class Listing {
 public:
  /// \param root replaces the placeholder in the attributes that a rewriting is about; null for the document as it is.
  Listing(xmlDoc* document, const std::string* root) : _addresses(addressesIn(document)), _root(root) {
    for (xmlNode* node = document->children; node != nullptr; node = node->next) add(node);
  }

  Lines lines;

 private:
  static bool isBlank(const std::string& text) { return text.find_first_not_of(" \t\r\n") == std::string::npos; }

  void add(xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE) {
      addElement(node);
    } else {
      xmlBuffer* buffer = xmlBufferCreate();
      xmlNodeDump(buffer, node->doc, node, 0, 0);
      lines.push_back("other " + std::string(reinterpret_cast<const char*>(xmlBufferContent(buffer))));
      xmlBufferFree(buffer);
    }
  }

  void addElement(xmlNode* element) {
    lines.push_back("element " + nameOf(element->name, element->ns));
    for (const xmlNs* space = element->nsDef; space != nullptr; space = space->next) {
      lines.push_back("namespace " + nameOf(reinterpret_cast<const xmlChar*>(""), space));
    }
    for (xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
      std::string value = textOf(xmlNodeGetContent(reinterpret_cast<xmlNode*>(attribute)));
      if (_root != nullptr && _addresses.count(reinterpret_cast<xmlNode*>(attribute)) > 0) value = replaced(value);
      lines.push_back("attribute " + nameOf(attribute->name, attribute->ns) + "=" + value);
    }
    addContent(element);
    lines.push_back("end");
  }

  void addContent(xmlNode* element) {
    bool keepsBlanks = xmlNodeGetSpacePreserve(element) == 1;
    for (xmlNode* child = element->children; child != nullptr; child = child->next) {
      keepsBlanks = keepsBlanks || (child->type == XML_TEXT_NODE && !isBlank(textOf(xmlNodeGetContent(child))));
    }
    std::string text;  // adjoining texts are one
    for (xmlNode* child = element->children; child != nullptr; child = child->next) {
      if (child->type == XML_TEXT_NODE) {
        const std::string part = textOf(xmlNodeGetContent(child));
        if (keepsBlanks || !isBlank(part)) text += part;
        continue;
      }
      addText(&text);
      add(child);
    }
    addText(&text);
  }

  void addText(std::string* text) {
    if (!text->empty()) lines.push_back("text " + *text);
    text->clear();
  }

  std::string replaced(const std::string& value) const {
    std::string result;
    size_t start = 0;
    for (size_t at = 0; (at = value.find(kPlaceholder, start)) != std::string::npos;
         start = at + sizeof kPlaceholder - 1) {
      result += value.substr(start, at - start) + *_root;
    }
    return result + value.substr(start);
  }

  std::set<const xmlNode*> _addresses;
  const std::string* _root;
};

Lines listing(const std::string& text, const std::string* root) {
  const Document document = parsed(text);
  if (!document) return {"no XML: " + text};
  return Listing(document.get(), root).lines;
}

// The base that comes first is made first.
class ManifestLawsTest : laws::ScopedMemoryFolders, public FakeHostTest {};

TEST_F(ManifestLawsTest, RewritingTouchesNothingButTheAddressesOfFeatures) {
  static const std::vector<std::string> roots = {
      "file:/i", "", "/My Disk/<&\">'\t\n", "${installer.root}", "x${installer.root}y", "\xC3\xA9"};
  size_t rewritten = 0;
  forCases(800, [&](Random& random) {
    const std::string text = anyManifest(random);
    const std::string& root = random.oneOf(roots);
    ASSERT_TRUE(parsed(text)) << "a test without a manifest: " << text;
    folder.makeFile("file", text);
    InstallManifest manifest(folder / "file");
    const bool isRewritten = manifest.replaceInstallerRootWith(root);
    ASSERT_TRUE(manifest.saveInstallManifestAs(folder / "saved")) << text;
    const Lines expected = listing(text, &root);
    EXPECT_EQ(listing(folder.read("saved"), nullptr), expected) << text;
    EXPECT_EQ(folder.read("file"), text);
    if (isRewritten && expected != listing(text, nullptr)) ++rewritten;
  });
  EXPECT_TRUE(HasFailure() || rewritten > 100) << "hardly any of these manifests was of interest: " << rewritten;
}

TEST_F(ManifestLawsTest, SavingWithoutRewritingChangesTheLayoutOnly) {
  forCases(300, [this](Random& random) {
    const std::string text = anyManifest(random);
    folder.makeFile("file", text);
    ASSERT_TRUE(InstallManifest(folder / "file").saveInstallManifestAs(folder / "saved")) << text;
    EXPECT_EQ(listing(folder.read("saved"), nullptr), listing(text, nullptr)) << text;
    ASSERT_TRUE(InstallManifest(folder / "saved").saveInstallManifestAs(folder / "saved again"));
    EXPECT_EQ(folder.read("saved again"), folder.read("saved")) << text;
  });
}

}  // namespace

}  // namespace hotfix
