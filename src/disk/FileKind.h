// What kind of file a name's extension stands for.
#pragma once

#include <string_view>

namespace larkfold {

enum class FileKind { image, video, audio, document, archive, code, application, system, other };

// The kind of a file name or path by its extension, case ignored; `other` where none is known.
FileKind fileKindOf(std::string_view name);

}  // namespace larkfold
