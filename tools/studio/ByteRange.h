#pragma once

#include <QByteArray>

namespace velmo::studio {

/// What a Range header asks for of a body of a known size.
struct ByteRange {
    enum Outcome {
        Whole, ///< no range, several, or none that can be read: the header is ignored
        Part,
        Unsatisfiable,
    };

    Outcome outcome = Whole;
    qint64 first = 0; ///< of a Part
    qint64 last = -1; ///< of a Part, inclusive and inside of the body

    qint64 length() const { return last - first + 1; }

    /// \a header is the header's value, empty when there is none.
    static ByteRange parse(const QByteArray &header, qint64 size);
};

} // namespace velmo::studio
