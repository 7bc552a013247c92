#pragma once

#include <QString>

#include <stdexcept>

namespace velmo::demo {

/// What went otherwise than it should, in words for whoever started the demo. It ends the step that meets it.
class Problem : public std::runtime_error {
public:
    explicit Problem(const QString &text)
        : std::runtime_error(text.toStdString())
    {}
};

inline void expect(bool condition, const QString &otherwise)
{
    if (!condition) {
        throw Problem(otherwise);
    }
}

} // namespace velmo::demo
