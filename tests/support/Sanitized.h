// Whether a sanitizer looks on. A run costs ten times as much then: what is tried many times is tried less
// often.
#pragma once

namespace larkfold::test {

#ifdef LARKFOLD_SANITIZED
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif

}  // namespace larkfold::test
