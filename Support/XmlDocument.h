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

/// An element of an XmlDocument. A light handle, valid during the lifetime of its document.
class XmlElement {
 public:
  /// The direct child elements of exactly this qualified name (prefix included), in document order.
  std::vector<XmlElement> children(const std::string& name) const;

  /// The parsed value of the attribute of this name (which has no prefix), or none when the element does not have it.
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
  std::function<std::string(const std::string& value)> newValue;  // gets the value after the earlier changes
};

/// An XML document in memory: parsed by libxml2, printed in the format of the platform's own XML class.
///
/// Nothing outside the given bytes is ever read: no network, no external entity, no external DTD. The parser's limits
/// apply (depth 256, entity amplification, 10 MB for one text, which is never cut). The document is independent of any
/// locale.
class XmlDocument {
 public:
  /// Parses a whole file's bytes, in the encoding that they declare.
  ///
  /// Text that is only white space is dropped, except in mixed content and below xml:space="preserve". CDATA becomes
  /// plain text, and entities that the document defines itself are resolved. A reference to an entity that only an
  /// external DTD can declare is kept.
  /// \return empty when the bytes are not well-formed, exceed a limit, or have references that would be lost: an
  ///     external entity in the content, an external parameter entity, an unknown entity in an attribute. Nothing is
  ///     logged or printed.
  static std::unique_ptr<XmlDocument> parse(const std::string& bytes);

  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;
  ~XmlDocument();

  /// The root element, or none when the document has none.
  std::optional<XmlElement> rootElement() const;

  /// Changes an attribute of those children of an element that have it. The change is made while printing, so that a
  /// large document is walked once; attribute() does not return it.
  void changeAttributes(const XmlElement& parent, XmlAttributeChange change);

  /// Writes the next bytes of a text. \return false to stop.
  using PartWriter = std::function<bool(std::string_view part)>;

  /// Writes the document as indented text in its own encoding, part by part: four spaces per level, "<a></a>" for an
  /// empty element, mixed content on one line, a declaration that always has "standalone", no newline at the end.
  /// Characters that the encoding lacks become numeric references.
  /// \return false if \a write returns false, if the document in its encoding and with its document type would not be
  ///     read again as the same, or if an attribute was changed to a value that XML cannot contain: bytes that are not
  ///     UTF-8, or a control character. A part may have been written then.
  bool prettyPrint(const PartWriter& write) const;

 private:
  using Changes = std::unordered_map<const _xmlNode*, std::vector<XmlAttributeChange>>;
  explicit XmlDocument(_xmlDoc* document) : _document(document) {}
  _xmlDoc* _document;  // owned
  Changes _changes;    // by the parent, in the order of the calls
};

}  // namespace hotfix

#endif
