// The tour's stops, one function per area of the library.
#pragma once

#include <iostream>
#include <string_view>

namespace tour {

// Prints a stop's heading.
inline void heading(std::string_view title) { std::cout << "\n== " << title << "\n"; }

}  // namespace tour
