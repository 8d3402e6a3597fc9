#include "Support/XmlDocument.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <climits>

#include "Support/TextEncoding.h"

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

std::string qualifiedName(const xmlNs* space, const xmlChar* name) {
  const bool hasPrefix = space != nullptr && space->prefix != nullptr;
  return hasPrefix ? std::string(plainText(space->prefix)) + ":" + plainText(name) : plainText(name);
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

/// Drops white space between elements and alone in one. White space in mixed content separates words and stays.
void dropBlankText(xmlNode* parent) {
  bool isMixed = false;
  for (const xmlNode* child = parent->children; child != nullptr; child = child->next) {
    isMixed = isMixed || (isText(child) && !isBlankText(child));
  }
  const bool keepsBlanks = isMixed || xmlNodeGetSpacePreserve(parent) == 1;
  for (xmlNode *child = parent->children, *next = nullptr; child != nullptr; child = next) {
    next = child->next;
    if (child->type == XML_ELEMENT_NODE) {
      dropBlankText(child);
    } else if (!keepsBlanks && isBlankText(child)) {
      xmlUnlinkNode(child);
      xmlFreeNode(child);
    }
  }
}

// ----- Printing -----

/// Prints a document into an output buffer, by the rules of prettyPrinted.
class Printer {
 public:
  explicit Printer(xmlOutputBuffer* output) : _output(output) {}

  /// \return false when an attribute was given a text that XML cannot hold.
  bool printDocument(const xmlDoc& document) {
    printDeclaration(document);
    for (xmlNode* node = document.children; node != nullptr; node = node->next) {
      write("\n");
      printNode(document, *node, 0);
    }
    return _isWellFormed;
  }

 private:
  static constexpr int kIndentation = 4;

  void write(const char* text) { xmlOutputBufferWriteString(_output, text); }
  void write(const std::string& text) { xmlOutputBufferWrite(_output, static_cast<int>(text.size()), text.c_str()); }

  void printDeclaration(const xmlDoc& document) {
    // libxml2 has 1 and 0 for "yes" and "no", -1 for no declaration, -2 for one that says nothing.
    const bool hadDeclaration = document.standalone != -1;
    const bool isStandalone = document.standalone == 1 || document.standalone == -2;
    write("<?xml version=\"");
    write(document.version != nullptr ? plainText(document.version) : "1.0");
    write("\"");
    const char* encoding = document.encoding != nullptr ? plainText(document.encoding) : nullptr;
    if (encoding == nullptr && !hadDeclaration) encoding = "UTF-8";
    if (encoding != nullptr) write(std::string(" encoding=\"") + encoding + "\"");
    write(isStandalone ? " standalone=\"yes\"?>" : " standalone=\"no\"?>");
  }

  void printNode(const xmlDoc& document, xmlNode& node, int level) {
    switch (node.type) {
      case XML_ELEMENT_NODE:
        printElement(document, node, level);
        break;
      case XML_TEXT_NODE:
      case XML_CDATA_SECTION_NODE:
        writeEscaped(plainText(node.content), /*inAttribute=*/false);
        break;
      default:  // comments, processing instructions, the DTD: as libxml2 writes them
        xmlNodeDumpOutput(_output, const_cast<xmlDoc*>(&document), &node, 0, 0, "UTF-8");
        break;
    }
  }

  void printElement(const xmlDoc& document, xmlNode& element, int level) {
    const std::string name = qualifiedName(element.ns, element.name);
    write("<" + name);
    for (const xmlNs* space = element.nsDef; space != nullptr; space = space->next) {
      write(space->prefix != nullptr ? std::string(" xmlns:") + plainText(space->prefix) : " xmlns");
      write("=\"");
      writeEscaped(space->href != nullptr ? plainText(space->href) : "", /*inAttribute=*/true);
      write("\"");
    }
    for (xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
      write(" " + qualifiedName(attribute->ns, attribute->name) + "=\"");
      const Owned<xmlChar, freeText> value(xmlNodeListGetString(element.doc, attribute->children, 1));
      writeEscaped(value ? plainText(value.get()) : "", /*inAttribute=*/true);
      write("\"");
    }
    write(">");

    bool isMixed = xmlNodeGetSpacePreserve(&element) == 1;
    for (const xmlNode* child = element.children; child != nullptr; child = child->next) {
      isMixed = isMixed || isText(child);
    }
    // Once inside mixed content, every added blank would be content.
    const bool isIndented = !isMixed && level != kOnOneLine && element.children != nullptr;
    for (xmlNode* child = element.children; child != nullptr; child = child->next) {
      if (isIndented)
        write("\n" + std::string(static_cast<size_t>(kIndentation) * (static_cast<size_t>(level) + 1), ' '));
      printNode(document, *child, isIndented ? level + 1 : kOnOneLine);
    }
    if (isIndented) write("\n" + std::string(static_cast<size_t>(kIndentation) * static_cast<size_t>(level), ' '));
    write("</" + name + ">");
  }

  void writeEscaped(const char* text, bool inAttribute) {
    _isWellFormed = _isWellFormed && text::isValidUtf8(text);
    std::string escaped;
    for (const char* at = text; at != nullptr && *at != '\0'; ++at) {
      switch (*at) {
        case '&':
          escaped += "&amp;";
          break;
        case '<':
          escaped += "&lt;";
          break;
        case '>':
          escaped += "&gt;";
          break;
        case '\r':  // a plain one would be read back as a line feed
          escaped += "&#13;";
          break;
        case '"':
          escaped += inAttribute ? "&quot;" : "\"";
          break;
        case '\t':  // in an attribute plain ones would be read back as spaces
          escaped += inAttribute ? "&#9;" : "\t";
          break;
        case '\n':
          escaped += inAttribute ? "&#10;" : "\n";
          break;
        default:
          _isWellFormed = _isWellFormed && static_cast<unsigned char>(*at) >= 0x20;
          escaped += *at;
      }
    }
    write(escaped);
  }

  static constexpr int kOnOneLine = -1;

  xmlOutputBuffer* _output;
  bool _isWellFormed = true;
};

/// The document's text in the encoding of \a encoder, which is used up; null stands for UTF-8.
OptionalString printed(const xmlDoc& document, xmlCharEncodingHandler* encoder) {
  const Owned<xmlBuffer, xmlBufferFree> bytes(xmlBufferCreate());
  if (!bytes) {
    xmlCharEncCloseFunc(encoder);
    return std::nullopt;
  }
  std::unique_ptr<xmlOutputBuffer, void (*)(xmlOutputBuffer*)> output(xmlOutputBufferCreateBuffer(bytes.get(), encoder),
                                                                      closeOutput);
  if (!output) return std::nullopt;
  if (!Printer(output.get()).printDocument(document)) return std::nullopt;
  if (xmlOutputBufferFlush(output.get()) < 0) return std::nullopt;
  output.reset();
  return std::string(plainText(xmlBufferContent(bytes.get())), static_cast<size_t>(xmlBufferLength(bytes.get())));
}

}  // namespace

// ----- XmlElement -----

std::vector<XmlElement> XmlElement::children(const std::string& name) const {
  std::vector<XmlElement> result;
  for (xmlNode* child = _node->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && qualifiedName(child->ns, child->name) == name)
      result.push_back(XmlElement(child));
  }
  return result;
}

OptionalString XmlElement::attribute(const std::string& name) const {
  const xmlAttr* attribute = xmlHasNsProp(_node, xmlText(name), nullptr);
  if (attribute == nullptr || attribute->type != XML_ATTRIBUTE_NODE)
    return std::nullopt;  // a DTD's default is not carried
  const Owned<xmlChar, freeText> value(xmlNodeListGetString(_node->doc, attribute->children, 1));
  return std::string(value ? plainText(value.get()) : "");
}

void XmlElement::setAttribute(const std::string& name, const std::string& value) const {
  if (attribute(name)) xmlSetNsProp(_node, nullptr, xmlText(name), xmlText(value));
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
  if (xmlNode* root = xmlDocGetRootElement(document->_document)) dropBlankText(root);
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
  if (xmlParseCharEncoding(encoding) == XML_CHAR_ENCODING_UTF8) return printed(*_document, nullptr);
  xmlCharEncodingHandler* encoder = xmlFindCharEncodingHandler(encoding);
  if (encoder == nullptr) return std::nullopt;
  OptionalString text = printed(*_document, encoder);
  // Some encodings can write even the markup in a way that no parser takes for it (UTF-7), and under some of their
  // names characters are lost that they do not have ("latin1", with libxml2 over glibc). What says the same is taken
  // only.
  const std::unique_ptr<XmlDocument> readAgain = text ? parse(*text) : nullptr;
  if (!readAgain || printed(*readAgain->_document, nullptr) != printed(*_document, nullptr)) return std::nullopt;
  return text;
}
