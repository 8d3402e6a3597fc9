#include "Support/XmlDocument.h"

#include <libxml/SAX2.h>
#include <libxml/encoding.h>
#include <libxml/hash.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <array>
#include <climits>
#include <exception>
#include <map>
#include <utility>

#include "Support/TextEncoding.h"

namespace hotfix {

namespace {

/// Owns an object of libxml2's, which \a release frees.
template <typename Type, void (*release)(Type*)>
struct Releaser {
  void operator()(Type* object) const { release(object); }
};
template <typename Type, void (*release)(Type*)>
using Owned = std::unique_ptr<Type, Releaser<Type, release>>;

void freeText(xmlChar* text) { xmlFree(text); }
void closeOutput(xmlOutputBuffer* output) { xmlOutputBufferClose(output); }

const xmlChar* xmlText(const std::string& text) { return reinterpret_cast<const xmlChar*>(text.c_str()); }
const char* plainText(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

/// Whether this is an element's qualified name, prefix included.
bool isNamed(const xmlNode& element, const std::string& name) {
  const bool hasPrefix = element.ns != nullptr && element.ns->prefix != nullptr;
  return hasPrefix ? std::string(plainText(element.ns->prefix)) + ":" + plainText(element.name) == name
                   : plainText(element.name) == name;
}

/// The single text of an attribute's value, which it nearly always is; null otherwise.
xmlNode* onlyText(const xmlAttr& attribute) {
  xmlNode* content = attribute.children;
  const bool isText = content != nullptr && content->next == nullptr && content->type == XML_TEXT_NODE;
  return isText && content->content != nullptr ? content : nullptr;
}

// ----- Escaping -----

/// For each byte, whether it is printed unchanged: all printable bytes except \a marks, and \a blanks.
constexpr std::array<bool, 0x100> plainBytes(const char* marks, const char* blanks) {
  std::array<bool, 0x100> isPlain{};
  for (size_t byte = 0x20; byte < isPlain.size(); ++byte) isPlain[byte] = true;
  for (; *marks != '\0'; ++marks) isPlain[static_cast<unsigned char>(*marks)] = false;
  for (; *blanks != '\0'; ++blanks) isPlain[static_cast<unsigned char>(*blanks)] = true;
  return isPlain;
}

// A carriage return would be read back as a line feed, and in an attribute a line feed and a tab as spaces.
constexpr auto kIsPlain = plainBytes("&<>", "\t\n");
constexpr auto kIsPlainInAttribute = plainBytes("&<>\"", "");
constexpr auto kIsPlainInDefault = plainBytes("&<", "");  // libxml2 handles the quotes

/// Null for a control character, which XML cannot contain.
const char* referenceTo(char character) {
  static constexpr std::pair<char, const char*> kReferences[] = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\r', "&#13;"}, {'\t', "&#9;"}, {'\n', "&#10;"}};
  for (const auto& [marked, reference] : kReferences) {
    if (marked == character) return reference;
  }
  return nullptr;
}

/// \return whether XML can contain the text.
bool appendEscaped(std::string& target, const char* text, const std::array<bool, 0x100>& isPlain) {
  while (true) {
    const char* end = text;
    while (isPlain[static_cast<unsigned char>(*end)]) ++end;
    target.append(text, static_cast<size_t>(end - text));
    if (*end == '\0') return true;
    const char* reference = referenceTo(*end);
    if (reference == nullptr) return false;
    target += reference;
    text = end + 1;
  }
}

std::string valueOf(const xmlAttr& attribute) {
  if (const xmlNode* text = onlyText(attribute)) return plainText(text->content);
  const Owned<xmlChar, freeText> value(xmlNodeListGetString(attribute.doc, attribute.children, 1));
  return value ? plainText(value.get()) : "";
}

// ----- Parsing -----

void endParsing(void* context) { xmlStopParser(static_cast<xmlParserCtxtPtr>(context)); }

/// Declares an entity like libxml2, but an external entity as one without permitted references. Otherwise libxml2 would
/// read the local file that the entity names, because it is set to resolve entities.
void declareEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId, const xmlChar* systemId,
                   xmlChar* content) {
  xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
  if (type != XML_EXTERNAL_GENERAL_PARSED_ENTITY) return;
  xmlEntityPtr entity = xmlGetDocEntity(static_cast<xmlParserCtxtPtr>(context)->myDoc, name);
  if (entity != nullptr && entity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY) {
    entity->etype = XML_EXTERNAL_GENERAL_UNPARSED_ENTITY;
  }
}

/// Ends the parsing without a document at a reference to a parameter entity that is external or not declared. The
/// entity is not read, and libxml2 keeps no reference to it that could be printed.
xmlEntityPtr getInternalParameterEntity(void* context, const xmlChar* name) {
  xmlEntityPtr entity = xmlSAX2GetParameterEntity(context, name);
  if (entity != nullptr && entity->etype != XML_EXTERNAL_PARAMETER_ENTITY) return entity;
  endParsing(context);
  return nullptr;
}

/// Declares an attribute like libxml2, with its default escaped, because libxml2 prints the default unchanged.
void declareAttribute(void* context, const xmlChar* element, const xmlChar* name, int type, int kind,
                      const xmlChar* value, xmlEnumerationPtr choices) try {
  std::string escaped;
  if (value != nullptr) appendEscaped(escaped, plainText(value), kIsPlainInDefault);
  xmlSAX2AttributeDecl(context, element, name, type, kind, value != nullptr ? xmlText(escaped) : nullptr, choices);
} catch (const std::exception&) {  // not enough memory; the exception must not pass through libxml2
  xmlFreeEnumeration(choices);
  endParsing(context);
}

/// Gets every fault; libxml2 would print some of them to standard error. The external DTD is not read. A reference to
/// an entity that only the external DTD can declare is not a fault in a text, where the reference is kept. In an
/// attribute, libxml2 drops the reference, so the parsing ends there.
void noteFault(void* userData, const xmlError* fault) {
  const auto context = static_cast<xmlParserCtxtPtr>(userData);
  const bool isInAttribute = context->instate == XML_PARSER_ATTRIBUTE_VALUE;
  if (fault->code == XML_WAR_UNDECLARED_ENTITY && isInAttribute) xmlStopParser(context);
}

/// Moves as much as fits from the start of a text into a buffer.
int readPiece(void* text, char* buffer, int size) {
  auto& rest = *static_cast<std::string_view*>(text);
  const size_t count = rest.copy(buffer, static_cast<size_t>(size));
  rest.remove_prefix(count);
  return static_cast<int>(count);
}

bool isBlankText(const xmlNode* node) { return node->type == XML_TEXT_NODE && xmlIsBlankNode(node) == 1; }

/// Whether a node makes the content of its element mixed. A reference is an unknown text.
bool isText(const xmlNode* node) {
  return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE || node->type == XML_ENTITY_REF_NODE;
}

/// Whether white space in an element is content: in mixed content it separates words. Elsewhere it is only layout and
/// is dropped.
bool isMixed(xmlNode& element) {
  for (const xmlNode* child = element.children; child != nullptr; child = child->next) {
    if (isText(child) && !isBlankText(child)) return true;
  }
  return xmlNodeGetSpacePreserve(&element) == 1;
}

// ----- Printing -----

using Changes = std::unordered_map<const xmlNode*, std::vector<XmlAttributeChange>>;

/// Prints a document as UTF-8, by the rules of prettyPrint.
class Printer {
 public:
  Printer(const xmlDoc& document, const Changes& changes, const XmlDocument::PartWriter& write)
      : _document(document), _changes(changes), _write(write) {}

  /// \return false when writing failed, or when an attribute was changed to a text that XML cannot contain.
  bool print() {
    printDeclaration();
    for (xmlNode* node = _document.children; node != nullptr; node = node->next) {
      _text += '\n';
      printNode(*node, 0, nullptr);
    }
    writePart();
    return _isWritten;
  }

 private:
  static constexpr size_t kIndentation = 4;
  static constexpr int kOnOneLine = -1;
  static constexpr size_t kPartSize = 0x10000;  // approximate; small enough for the processor's cache

  void printDeclaration() {
    // In libxml2, 1 and 0 are "yes" and "no", -1 is no declaration, -2 is a declaration without "standalone".
    const bool hadDeclaration = _document.standalone != -1;
    const bool isStandalone = _document.standalone == 1 || _document.standalone == -2;
    _text += "<?xml version=\"";
    _text += _document.version != nullptr ? plainText(_document.version) : "1.0";
    _text += '"';
    const char* encoding = _document.encoding != nullptr ? plainText(_document.encoding) : nullptr;
    if (encoding == nullptr && !hadDeclaration) encoding = "UTF-8";
    if (encoding != nullptr) _text.append(" encoding=\"").append(encoding) += '"';
    _text += isStandalone ? " standalone=\"yes\"?>" : " standalone=\"no\"?>";
  }

  /// \param changes of the element above; null when there are none.
  void printNode(xmlNode& node, int level, const Changes::mapped_type* changes) {
    if (_text.size() >= kPartSize) writePart();
    switch (node.type) {
      case XML_ELEMENT_NODE:
        printElement(node, level, changes);
        break;
      case XML_TEXT_NODE:
      case XML_CDATA_SECTION_NODE:
        printEscaped(plainText(node.content), /*inAttribute=*/false);
        break;
      case XML_DTD_NODE:
        printDocumentType(reinterpret_cast<xmlDtd&>(node));
        break;
      default:
        printAsLibraryDoes(node);
        break;
    }
  }

  /// Like libxml2, except for the order of the notations, which differs each time there.
  void printDocumentType(xmlDtd& type) {
    std::map<std::string, const xmlNotation*> notations;
    const auto add = [](void* notation, void* map, auto name) {  // const in some versions
      static_cast<decltype(notations)*>(map)->emplace(plainText(name), static_cast<xmlNotation*>(notation));
    };
    if (type.notations != nullptr) xmlHashScan(static_cast<xmlHashTable*>(type.notations), add, &notations);

    _text.append("<!DOCTYPE ").append(plainText(type.name));
    printPlace(type.ExternalID, type.SystemID);
    if (type.children != nullptr || !notations.empty()) {
      _text += " [\n";
      for (const auto& [name, notation] : notations) {
        _text.append("<!NOTATION ").append(name);
        printPlace(notation->PublicID, notation->SystemID);
        _text += " >\n";
      }
      for (xmlNode* child = type.children; child != nullptr; child = child->next) printAsLibraryDoes(*child);
      _text += ']';
    }
    _text += '>';
  }

  void printPlace(const xmlChar* publicId, const xmlChar* systemId) {
    if (publicId != nullptr) printQuoted(" PUBLIC ", publicId);
    if (systemId != nullptr) printQuoted(publicId != nullptr ? " " : " SYSTEM ", systemId);
  }

  /// \param literal has at most one kind of quotes.
  void printQuoted(const char* start, const xmlChar* literal) {
    const char mark = xmlStrchr(literal, '"') != nullptr ? '\'' : '"';
    ((_text.append(start) += mark) += plainText(literal)) += mark;
  }

  void writePart() {
    _isWritten = _isWritten && _write(_text);
    _text.clear();
  }

  void printElement(xmlNode& element, int level, const Changes::mapped_type* changes) {
    _text += '<';
    printName(element.ns, element.name);
    for (const xmlNs* space = element.nsDef; space != nullptr; space = space->next) {
      _text += " xmlns";
      if (space->prefix != nullptr) _text.append(":").append(plainText(space->prefix));
      _text += "=\"";
      printEscaped(plainText(space->href), /*inAttribute=*/true);
      _text += '"';
    }
    for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
      _text += ' ';
      printName(attribute->ns, attribute->name);
      _text += "=\"";
      printValue(*attribute, changes);
      _text += '"';
    }
    _text += '>';
    printContent(element, level);
    _text += "</";
    printName(element.ns, element.name);
    _text += '>';
  }

  void printContent(xmlNode& element, int level) {
    if (element.children == nullptr) return;
    const bool isOneText = isMixed(element);
    // Inside mixed content, every added blank would be content.
    const bool isIndented = !isOneText && level != kOnOneLine;
    const auto changes = _changes.find(&element);
    bool hasContent = false;
    for (xmlNode* child = element.children; child != nullptr; child = child->next) {
      if (!isOneText && isBlankText(child)) continue;
      hasContent = true;
      if (isIndented) beginLine(level + 1);
      printNode(*child, isIndented ? level + 1 : kOnOneLine, changes != _changes.end() ? &changes->second : nullptr);
    }
    if (isIndented && hasContent) beginLine(level);
  }

  void beginLine(int level) { (_text += '\n').append(kIndentation * static_cast<size_t>(level), ' '); }

  void printName(const xmlNs* space, const xmlChar* name) {
    if (space != nullptr && space->prefix != nullptr) (_text += plainText(space->prefix)) += ':';
    _text += plainText(name);
  }

  void printValue(const xmlAttr& attribute, const Changes::mapped_type* changes) {
    if (changes == nullptr || attribute.ns != nullptr) {
      const xmlNode* text = onlyText(attribute);
      printEscaped(text != nullptr ? plainText(text->content) : valueOf(attribute).c_str(), /*inAttribute=*/true);
      return;
    }
    std::string value = valueOf(attribute);
    for (const XmlAttributeChange& change : *changes) {
      if (change.attribute != plainText(attribute.name) || !isNamed(*attribute.parent, change.child)) continue;
      value = change.newValue(value);
    }
    printEscaped(value.c_str(), /*inAttribute=*/true);
  }

  void printEscaped(const char* text, bool inAttribute) {
    if (text == nullptr) return;
    const auto& isPlain = inAttribute ? kIsPlainInAttribute : kIsPlain;
    _isWritten = _isWritten && text::isValidUtf8(text) && appendEscaped(_text, text, isPlain);
  }

  /// Comments, processing instructions, declarations of the document type.
  void printAsLibraryDoes(xmlNode& node) {
    const Owned<xmlBuffer, xmlBufferFree> bytes(xmlBufferCreate());
    if (!bytes || xmlNodeDump(bytes.get(), const_cast<xmlDoc*>(&_document), &node, 0, 0) < 0) {
      _isWritten = false;
    } else {
      _text += plainText(xmlBufferContent(bytes.get()));
    }
  }

  const xmlDoc& _document;
  const Changes& _changes;
  const XmlDocument::PartWriter& _write;
  std::string _text;  // the part that has not been written yet
  bool _isWritten = true;
};

/// None if Printer::print fails.
OptionalString printed(const xmlDoc& document, const Changes& changes) {
  std::string text;
  const XmlDocument::PartWriter add = [&text](std::string_view part) {
    text += part;
    return true;
  };
  return Printer(document, changes, add).print() ? OptionalString(std::move(text)) : std::nullopt;
}

/// A UTF-8 text in an encoding; none if the conversion fails.
OptionalString encoded(const std::string& utf8, const char* encoding) {
  xmlCharEncodingHandler* encoder = xmlFindCharEncodingHandler(encoding);
  if (encoder == nullptr) return std::nullopt;
  const Owned<xmlBuffer, xmlBufferFree> bytes(xmlBufferCreate());
  if (!bytes || utf8.size() > INT_MAX) {
    xmlCharEncCloseFunc(encoder);
    return std::nullopt;
  }
  std::unique_ptr<xmlOutputBuffer, void (*)(xmlOutputBuffer*)> output(xmlOutputBufferCreateBuffer(bytes.get(), encoder),
                                                                      closeOutput);
  if (!output) return std::nullopt;
  xmlOutputBufferWrite(output.get(), static_cast<int>(utf8.size()), utf8.c_str());
  if (xmlOutputBufferFlush(output.get()) < 0) return std::nullopt;
  output.reset();
  return std::string(plainText(xmlBufferContent(bytes.get())), static_cast<size_t>(xmlBufferLength(bytes.get())));
}

}  // namespace

// ----- XmlElement -----

std::vector<XmlElement> XmlElement::children(const std::string& name) const {
  std::vector<XmlElement> result;
  for (xmlNode* child = _node->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && isNamed(*child, name)) result.push_back(XmlElement(child));
  }
  return result;
}

OptionalString XmlElement::attribute(const std::string& name) const {
  const xmlAttr* attribute = xmlHasNsProp(_node, xmlText(name), nullptr);
  // Otherwise only a DTD gives it, as a default.
  if (attribute == nullptr || attribute->type != XML_ATTRIBUTE_NODE) return std::nullopt;
  return valueOf(*attribute);
}

// ----- XmlDocument -----

std::unique_ptr<XmlDocument> XmlDocument::parse(const std::string& bytes) {
  if (bytes.empty() || bytes.size() > INT_MAX) return nullptr;
  const Owned<xmlParserCtxt, xmlFreeParserCtxt> context(xmlNewParserCtxt());
  if (!context) return nullptr;
  context->sax->entityDecl = declareEntity;
  context->sax->attributeDecl = declareAttribute;
  context->sax->serror = [](void* userData, auto fault) { noteFault(userData, fault); };  // const in some versions
  context->sax->getParameterEntity = getInternalParameterEntity;
  const int options = XML_PARSE_NOENT | XML_PARSE_NOCDATA | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                      XML_PARSE_COMPACT;
  // In pieces, because libxml2 would first copy a single text.
  std::string_view rest = bytes;
  std::unique_ptr<XmlDocument> document(
      new XmlDocument(xmlCtxtReadIO(context.get(), readPiece, nullptr, &rest, nullptr, nullptr, options)));
  // A text beyond the limit ends the parsing without making the document ill-formed. Only this shows that it is cut.
  if (document->_document == nullptr || context->disableSAX != 0) return nullptr;
  return document;
}

XmlDocument::~XmlDocument() { xmlFreeDoc(_document); }

std::optional<XmlElement> XmlDocument::rootElement() const {
  xmlNode* root = xmlDocGetRootElement(_document);
  if (root == nullptr) return std::nullopt;
  return XmlElement(root);
}

void XmlDocument::changeAttributes(const XmlElement& parent, XmlAttributeChange change) {
  _changes[parent._node].push_back(std::move(change));
}

bool XmlDocument::prettyPrint(const PartWriter& write) const {
  const char* encoding = _document->encoding != nullptr ? plainText(_document->encoding) : "UTF-8";
  const bool isUtf8 = xmlParseCharEncoding(encoding) == XML_CHAR_ENCODING_UTF8;
  if (isUtf8 && _document->intSubset == nullptr) return Printer(*_document, _changes, write).print();

  const OptionalString text = printed(*_document, _changes);
  if (!text) return false;
  const OptionalString bytes = isUtf8 ? text : encoded(*text, encoding);
  // A document that would not be read again as the same is not written. Some encodings write even the markup in a form
  // that no parser recognises (UTF-7). With some names of encodings, characters that they lack are lost ("latin1", with
  // libxml2 on glibc). In a document type, libxml2 drops a default that does not have the attribute's type, and moves
  // declarations out of a parameter entity that are allowed only inside one.
  const std::unique_ptr<XmlDocument> readAgain = bytes ? parse(*bytes) : nullptr;
  return readAgain && printed(*readAgain->_document, {}) == text && write(*bytes);
}

}  // namespace hotfix
