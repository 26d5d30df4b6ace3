// A synthetic EnumerateInstances reply of the controller's disk class, laid
// out the way a CIM server writes it: one element per line, key qualifiers on
// the key properties, entities in some strings, one array property and one
// property without a value.
#pragma once

#include <cstddef>
#include <string>

namespace benchgen {

// Properties of every generated instance.
constexpr size_t propertiesPerInstance = 30;

// The whole reply body with `n` VALUE.NAMEDINSTANCE elements.
std::string enumerateInstancesReply(size_t n);

}  // namespace benchgen
