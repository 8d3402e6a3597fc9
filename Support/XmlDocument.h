#ifndef SUPPORT_XML_DOCUMENT_H_
#define SUPPORT_XML_DOCUMENT_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
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

  /// The value of the attribute of this name (which has no prefix), as it was parsed, or none when the element does not
  /// carry it.
  OptionalString attribute(const std::string& name) const;

 private:
  friend class XmlDocument;
  explicit XmlElement(_xmlNode* node) : _node(node) {}
  _xmlNode* _node;
};

/// A change of an attribute of the child elements of one element.
struct XmlAttributeChange {
  std::string child;                                              // qualified name of the children
  std::string attribute;                                          // its name, which has no prefix
  std::function<std::string(const std::string& value)> newValue;  // gets the value as the changes before left it
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

  /// Changes an attribute of children of an element, wherever they carry it. The change is made while printing, so that
  /// a large document is walked once; attribute() does not show it.
  void changeAttributes(const XmlElement& parent, XmlAttributeChange change);

  /// Takes the next bytes of a text. \return false when there is no use in more of them.
  using PartWriter = std::function<bool(std::string_view part)>;

  /// Writes the document as indented text in its own encoding, part by part: four spaces a level, "<a></a>" for an
  /// empty element, mixed content on one line, a declaration that always says "standalone", no newline at the end.
  /// Characters that the encoding lacks become numeric references. \return no when \a write says so, when the document
  /// cannot be written in its encoding and with its document type so
  ///     that it is read again as the same, or when an attribute was changed to what no XML can hold: bytes that are no
  ///     UTF-8, or a control character. A part may have been written then.
  bool prettyPrint(const PartWriter& write) const;

 private:
  using Changes = std::unordered_map<const _xmlNode*, std::vector<XmlAttributeChange>>;
  explicit XmlDocument(_xmlDoc* document) : _document(document) {}
  _xmlDoc* _document;  // owned
  Changes _changes;    // by the parent; in the order in which they are made
};

}  // namespace hotfix

#endif
