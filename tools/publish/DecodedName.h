#pragma once

#include <QString>

#include <filesystem>

namespace velmo::publish {

/// A name as it stands in a folder.
struct DecodedName {
    QString text; ///< with replacement characters where it is not lossless
    bool lossless = true;
};

DecodedName decodedName(const std::filesystem::path &name);

} // namespace velmo::publish
