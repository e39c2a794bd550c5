// Paths as bytes.
//
// A path is a std::string of any bytes but NUL, absolute, components parted by "/". Nothing here decodes it,
// so a name that is not UTF-8 goes through unharmed; only `displayText` makes text of it, for a view. Nothing
// here touches the disk. Free functions, safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

// The path without empty and "." components, ".." resolved by its text (never above "/"), and no "/" at the
// end. A relative path is taken as if it began at "/". Links are not looked at.
std::string standardizedPath(std::string_view path);

// The last component; "/" for the root.
std::string_view lastPathComponent(std::string_view path);

// The path of the containing folder; "/" for the root and for its direct children. `path` is standardized.
std::string_view parentPath(std::string_view path);

// `folder` + "/" + `name`, with no doubled "/" where the folder is the root.
std::string joinedPath(std::string_view folder, std::string_view name);

// The part behind the last "." of the last component, without the dot; empty where there is none, where the
// name begins with its only dot, or where it ends in it.
std::string_view pathExtension(std::string_view path);

// True where `path` lies strictly below `folder` or equals it. Both standardized.
bool isAtOrBelow(std::string_view path, std::string_view folder);

// What `path` is relative to `folder`; nothing where it does not lie strictly below it. Both standardized.
// Valid as long as the path.
std::optional<std::string_view> relativePath(std::string_view path, std::string_view folder);

// The bytes as text for a person: valid UTF-8, each byte that is not decodable as U+FFFD and each control
// character as its picture (U+2400 block), so that a name with a line break stays one line.
std::string displayText(std::string_view bytes);

}  // namespace larkfold
