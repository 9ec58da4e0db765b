#include "zorlan/JSON/TypedJSONContainer.hpp"

namespace zorlan {

// The tree of standard leaves is compiled once, here.
template class TypedJSONContainer<TypedJSONValue>;

}  // namespace zorlan
