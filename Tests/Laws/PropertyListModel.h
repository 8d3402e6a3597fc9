#ifndef TESTS_LAWS_PROPERTY_LIST_MODEL_H_
#define TESTS_LAWS_PROPERTY_LIST_MODEL_H_

#include "Support/PropertyListValue.h"

/// What a property list in XML can hold, told by other means than the system reads and writes it.
namespace hotfix::laws {

/// The value that is read from a list to which \a value was written: dates are in whole seconds, one that is no number
/// is 2001-01-01, and one of another geological age the nearest that can be written.
PropertyListValue afterWriting(const PropertyListValue& value);

/// Whether two values are equal. Other than for operator==, a real that is no number is equal to another one.
bool areSame(const PropertyListValue& left, const PropertyListValue& right);

/// How many collections lie in one another; 0 for a scalar.
int depthOf(const PropertyListValue& value);

}  // namespace hotfix::laws

#endif
