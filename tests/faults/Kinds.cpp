#include "Disturbance.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

const QList<Kind> &kinds()
{
    static const QList<Kind> all = {
        {u"cut"_s, false, false, cut},
        {u"stall"_s, false, false, stall},
        {u"trickle"_s, false, false, trickle},
        {u"server-errors"_s, false, false, serverErrors},
        {u"wrong-bytes"_s, false, false, wrongBytes},
        {u"wrong-length"_s, false, false, wrongLength},
        {u"redirect"_s, false, false, redirect},
        {u"manifest-change"_s, false, false, manifestChange},
        {u"full-disk"_s, false, true, fullDisk},
        {u"disk-errors"_s, false, false, diskErrors},
        {u"read-only-disk"_s, false, true, readOnlyDisk},
        {u"clock-jump"_s, false, false, clockJump},
        {u"kill"_s, false, false, kill},
        {u"power-loss"_s, false, false, powerLoss},
        {u"two-launchers"_s, false, false, twoPrograms},
        {u"little-memory"_s, false, false, littleMemory},
        {u"publish-kill"_s, true, false, kill},
        {u"publish-full-disk"_s, true, true, fullDisk},
        {u"publish-disk-errors"_s, true, false, diskErrors},
        {u"publish-power-loss"_s, true, false, powerLoss},
    };
    return all;
}

} // namespace velmo::faults
