#pragma once

#include <cstddef>
#include <string_view>

namespace qvrn {

/// How many columns a text takes in a font of fixed width: two for an East Asian wide character and most pictographs,
/// none for a mark that combines with the character before it, one for any other.
std::size_t DisplayWidth(std::wstring_view text);

}  // namespace qvrn
