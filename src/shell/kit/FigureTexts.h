// Figures as the views write them, in the user's locale. What they look like is decided in
// `platform/Collation.h` and `platform/ByteCountFormatter.h`; these are the same as texts of the toolkit.
// Safe from any thread.
#pragma once

#include <QString>
#include <cstdint>

namespace larkfold::texts {

QString bytes(std::int64_t count);    // "4.2 GB"
QString grouped(std::int64_t count);  // "12,408"
QString share(double part);           // of a part from 0 to 1: "61.8%"
// "1 file", "12,408 files".
QString counted(std::int64_t count, const char* one, const char* many);

}  // namespace larkfold::texts
