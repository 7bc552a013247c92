#pragma once

#include "support/PixelProbe.h"

namespace velmo::test {

/// The base of a test of painted widgets. The theme stands before the first function, which sees to it that the screen
/// has the device pixel ratio that CTest asked for; and before each function animations are as they were.
class PixelTest : public QObject {
    Q_OBJECT

public:
    enum Motion {
        Still,
        Moving,
    };

    explicit PixelTest(Motion motion = Moving)
        : motion_(motion)
    {}

protected slots:
    void initTestCase();
    void init();

private:
    Motion motion_;
};

} // namespace velmo::test
