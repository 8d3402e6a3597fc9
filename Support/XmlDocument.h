#ifndef SUPPORT_XML_DOCUMENT_H_
#define SUPPORT_XML_DOCUMENT_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

struct _xmlDoc;
struct _xmlNode;

namespace hotfix {

/// An element of an XmlDocument. A light handle: valid as long as its document is.
class XmlElement {
 public:
  /// The direct child elements of exactly this qualified name (prefix included), in document order.
  std::vector<XmlElement> children(const std::string& name) const;

  /// The value of the attribute of this name (which has no prefix), or none when the element does not carry it.
  OptionalString attribute(const std::string& name) const;

  /// Replaces the value of an attribute that the element carries; does nothing when it does not.
  void setAttribute(const std::string& name, const std::string& value) const;

 private:
  friend class XmlDocument;
  explicit XmlElement(_xmlNode* node) : _node(node) {}
  _xmlNode* _node;
};

/// An XML document in memory: parsed by libxml2, printed the way the platform's own XML class prints.
///
/// Nothing outside the given bytes is ever read: no network, no external entity, no external DTD. The parser's
/// limits (depth 256, entity amplification, 10 MB a text, which is never cut) stay on. The document is independent of
/// any locale.
class XmlDocument {
 public:
  /// Parses a whole file's bytes, in the encoding that they declare.
  ///
  /// Text of nothing but white space counts as not being there, unless it stands in mixed content or below
  /// xml:space="preserve". CDATA becomes plain text, and entities that the document defines itself are resolved.
  /// A reference to an entity that only an external DTD can declare stays as it is.
  /// \return empty when the bytes are not well-formed, go past a limit, or refer to what would be lost: an external
  ///     entity in the content, an external parameter entity, an unknown entity in an attribute. Nothing is logged or
  ///     printed.
  static std::unique_ptr<XmlDocument> parse(const std::string& bytes);

  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;
  ~XmlDocument();

  /// The root element, or none when the document has none.
  std::optional<XmlElement> rootElement() const;

  /// The document as indented text in its own encoding: four spaces a level, "<a></a>" for an empty element, mixed
  /// content on one line, a declaration that always says "standalone", no newline at the end. Characters that the
  /// encoding lacks become numeric references.
  /// \return none when the document cannot be written in its encoding and with its document type so that it is read
  ///     again as the same, or an attribute was set to what no XML can hold: bytes that are no UTF-8, or a control
  ///     character.
  OptionalString prettyPrinted() const;

 private:
  explicit XmlDocument(_xmlDoc* document) : _document(document) {}
  _xmlDoc* _document;        // owned
  size_t _expectedSize = 0;  // of its text when it is printed, about
};

}  // namespace hotfix

#endif
