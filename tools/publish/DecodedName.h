#pragma once

#include <QString>

#include <filesystem>
#include <string_view>

namespace velmo::publish {

/// As the system has it.
using NativeName = std::basic_string_view<std::filesystem::path::value_type>;

/// A name as it stands in a folder.
struct DecodedName {
    QString text; ///< with replacement characters where it is not lossless
    bool lossless = true;
};

DecodedName decodedName(NativeName name);

} // namespace velmo::publish
