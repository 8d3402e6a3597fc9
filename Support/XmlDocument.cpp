#include "Support/XmlDocument.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <array>
#include <climits>
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

/// The one text that an attribute's value nearly always is; null when it is something else.
xmlNode* onlyText(const xmlAttr& attribute) {
  xmlNode* content = attribute.children;
  const bool isText = content != nullptr && content->next == nullptr && content->type == XML_TEXT_NODE;
  return isText && content->content != nullptr ? content : nullptr;
}

// ----- Parsing -----

/// Declares an entity as libxml2 does, but one that lies outside the document as one that nobody may refer to:
/// resolving entities (which we ask for) would otherwise make libxml2 read the local file that it names.
void declareEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId, const xmlChar* systemId,
                   xmlChar* content) {
  xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
  if (type != XML_EXTERNAL_GENERAL_PARSED_ENTITY) return;
  xmlEntityPtr entity = xmlGetDocEntity(static_cast<xmlParserCtxtPtr>(context)->myDoc, name);
  if (entity != nullptr && entity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY) {
    entity->etype = XML_EXTERNAL_GENERAL_UNPARSED_ENTITY;
  }
}

/// The same for parameter entities, which need not be declared to be skipped.
xmlEntityPtr getInternalParameterEntity(void* context, const xmlChar* name) {
  xmlEntityPtr entity = xmlSAX2GetParameterEntity(context, name);
  return entity != nullptr && entity->etype == XML_EXTERNAL_PARAMETER_ENTITY ? nullptr : entity;
}

bool isBlankText(const xmlNode* node) { return node->type == XML_TEXT_NODE && xmlIsBlankNode(node) == 1; }

/// Whether a node makes the content of its element mixed. A reference stands for a text that is not known.
bool isText(const xmlNode* node) {
  return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE || node->type == XML_ENTITY_REF_NODE;
}

/// Whether white space in an element is content: in mixed content it separates words. Elsewhere it only lays the file
/// out, and counts as not being there.
bool isMixed(xmlNode& element) {
  for (const xmlNode* child = element.children; child != nullptr; child = child->next) {
    if (isText(child) && !isBlankText(child)) return true;
  }
  return xmlNodeGetSpacePreserve(&element) == 1;
}

// ----- Printing -----

/// By byte, whether it stands for itself. A carriage return would be read back as a line feed, and in an attribute a
/// line feed and a tab as spaces.
constexpr std::array<bool, 0x100> plainBytes(bool inAttribute) {
  std::array<bool, 0x100> isPlain{};
  for (size_t byte = 0x20; byte < isPlain.size(); ++byte) isPlain[byte] = true;
  isPlain['&'] = isPlain['<'] = isPlain['>'] = false;
  isPlain['\t'] = isPlain['\n'] = isPlain['"'] = !inAttribute;
  return isPlain;
}

constexpr auto kIsPlain = plainBytes(false);
constexpr auto kIsPlainInAttribute = plainBytes(true);

/// Prints a document as UTF-8, by the rules of prettyPrinted.
class Printer {
 public:
  /// \param expectedSize of the text, about; spares growing in steps.
  Printer(const xmlDoc& document, size_t expectedSize) : _document(document) { _text.reserve(expectedSize); }

  /// \return none when an attribute was given a text that XML cannot hold.
  OptionalString print() {
    printDeclaration();
    for (xmlNode* node = _document.children; node != nullptr; node = node->next) {
      _text += '\n';
      printNode(*node, 0);
    }
    return _isWellFormed ? OptionalString(std::move(_text)) : std::nullopt;
  }

 private:
  static constexpr size_t kIndentation = 4;
  static constexpr int kOnOneLine = -1;

  void printDeclaration() {
    // libxml2 has 1 and 0 for "yes" and "no", -1 for no declaration, -2 for one that says nothing.
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

  void printNode(xmlNode& node, int level) {
    switch (node.type) {
      case XML_ELEMENT_NODE:
        printElement(node, level);
        break;
      case XML_TEXT_NODE:
      case XML_CDATA_SECTION_NODE:
        printEscaped(plainText(node.content), /*inAttribute=*/false);
        break;
      default:
        printAsLibraryDoes(node);
        break;
    }
  }

  void printElement(xmlNode& element, int level) {
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
      printValue(*attribute);
      _text += '"';
    }
    _text += '>';
    printContent(element, level);
    _text += "</";
    printName(element.ns, element.name);
    _text += '>';
  }

  void printContent(xmlNode& element, int level) {
    const bool isOneText = isMixed(element);
    // Once inside mixed content, every added blank would be content.
    const bool isIndented = !isOneText && level != kOnOneLine;
    bool hasContent = false;
    for (xmlNode* child = element.children; child != nullptr; child = child->next) {
      if (!isOneText && isBlankText(child)) continue;
      hasContent = true;
      if (isIndented) beginLine(level + 1);
      printNode(*child, isIndented ? level + 1 : kOnOneLine);
    }
    if (isIndented && hasContent) beginLine(level);
  }

  void beginLine(int level) { (_text += '\n').append(kIndentation * static_cast<size_t>(level), ' '); }

  void printName(const xmlNs* space, const xmlChar* name) {
    if (space != nullptr && space->prefix != nullptr) (_text += plainText(space->prefix)) += ':';
    _text += plainText(name);
  }

  void printValue(const xmlAttr& attribute) {
    if (const xmlNode* text = onlyText(attribute)) {
      printEscaped(plainText(text->content), /*inAttribute=*/true);
      return;
    }
    const Owned<xmlChar, freeText> value(xmlNodeListGetString(attribute.doc, attribute.children, 1));
    printEscaped(plainText(value.get()), /*inAttribute=*/true);
  }

  void printEscaped(const char* text, bool inAttribute) {
    if (text == nullptr) return;
    _isWellFormed = _isWellFormed && text::isValidUtf8(text);
    const auto& isPlain = inAttribute ? kIsPlainInAttribute : kIsPlain;
    while (*text != '\0') {
      const char* end = text;
      while (isPlain[static_cast<unsigned char>(*end)]) ++end;
      _text.append(text, static_cast<size_t>(end - text));
      if (*end == '\0') return;
      printReference(*end);
      text = end + 1;
    }
  }

  void printReference(char character) {
    switch (character) {
      case '&':
        _text += "&amp;";
        break;
      case '<':
        _text += "&lt;";
        break;
      case '>':
        _text += "&gt;";
        break;
      case '"':
        _text += "&quot;";
        break;
      case '\r':
        _text += "&#13;";
        break;
      case '\t':
        _text += "&#9;";
        break;
      case '\n':
        _text += "&#10;";
        break;
      default:  // a control character
        _isWellFormed = false;
    }
  }

  /// Comments, processing instructions, the DTD.
  void printAsLibraryDoes(xmlNode& node) {
    const Owned<xmlBuffer, xmlBufferFree> bytes(xmlBufferCreate());
    if (!bytes || xmlNodeDump(bytes.get(), const_cast<xmlDoc*>(&_document), &node, 0, 0) < 0) {
      _isWellFormed = false;
    } else {
      _text += plainText(xmlBufferContent(bytes.get()));
    }
  }

  const xmlDoc& _document;
  std::string _text;
  bool _isWellFormed = true;
};

/// A UTF-8 text in the encoding of \a encoder, which is used up; none when it cannot be had.
OptionalString encoded(const std::string& utf8, xmlCharEncodingHandler* encoder) {
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

/// None for one that only a DTD gives as a default.
const xmlAttr* carriedAttribute(const xmlNode* element, const std::string& name) {
  const xmlAttr* attribute = xmlHasNsProp(element, xmlText(name), nullptr);
  return attribute != nullptr && attribute->type == XML_ATTRIBUTE_NODE ? attribute : nullptr;
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
  const xmlAttr* attribute = carriedAttribute(_node, name);
  if (attribute == nullptr) return std::nullopt;
  if (const xmlNode* text = onlyText(*attribute)) return std::string(plainText(text->content));
  const Owned<xmlChar, freeText> value(xmlNodeListGetString(_node->doc, attribute->children, 1));
  return std::string(value ? plainText(value.get()) : "");
}

void XmlElement::setAttribute(const std::string& name, const std::string& value) const {
  const xmlAttr* attribute = carriedAttribute(_node, name);
  if (attribute == nullptr) return;
  xmlNode* text = onlyText(*attribute);
  if (text != nullptr && attribute->atype != XML_ATTRIBUTE_ID) {
    xmlNodeSetContent(text, xmlText(value));  // as xmlSetNsProp, without a new node
  } else {
    xmlSetNsProp(_node, nullptr, xmlText(name), xmlText(value));
  }
}

// ----- XmlDocument -----

std::unique_ptr<XmlDocument> XmlDocument::parse(const std::string& bytes) {
  if (bytes.empty() || bytes.size() > INT_MAX) return nullptr;
  const Owned<xmlParserCtxt, xmlFreeParserCtxt> context(xmlNewParserCtxt());
  if (!context) return nullptr;
  context->sax->entityDecl = declareEntity;
  context->sax->serror = [](void*, auto) {};  // else a text past the limit is told on standard error
  context->sax->getParameterEntity = getInternalParameterEntity;
  const int options = XML_PARSE_NOENT | XML_PARSE_NOCDATA | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  std::unique_ptr<XmlDocument> document(new XmlDocument(
      xmlCtxtReadMemory(context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, options)));
  // A text past the limit ends the parsing without making the document ill-formed: only this tells that it is cut.
  if (document->_document == nullptr || context->disableSAX != 0) return nullptr;
  document->_expectedSize = bytes.size() + bytes.size() / 4;
  return document;
}

XmlDocument::~XmlDocument() { xmlFreeDoc(_document); }

std::optional<XmlElement> XmlDocument::rootElement() const {
  xmlNode* root = xmlDocGetRootElement(_document);
  if (root == nullptr) return std::nullopt;
  return XmlElement(root);
}

OptionalString XmlDocument::prettyPrinted() const {
  const char* encoding = _document->encoding != nullptr ? plainText(_document->encoding) : "UTF-8";
  const OptionalString text = Printer(*_document, _expectedSize).print();
  if (!text || xmlParseCharEncoding(encoding) == XML_CHAR_ENCODING_UTF8) return text;
  xmlCharEncodingHandler* encoder = xmlFindCharEncodingHandler(encoding);
  if (encoder == nullptr) return std::nullopt;
  OptionalString bytes = encoded(*text, encoder);
  // Some encodings can write even the markup in a way that no parser takes for it (UTF-7), and under some of their
  // names characters are lost that they do not have ("latin1", with libxml2 over glibc). What says the same is taken
  // only.
  const std::unique_ptr<XmlDocument> readAgain = bytes ? parse(*bytes) : nullptr;
  if (!readAgain || Printer(*readAgain->_document, text->size()).print() != text) return std::nullopt;
  return bytes;
}

}  // namespace hotfix
