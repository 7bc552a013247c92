#pragma once

#include "GameFixture.h"

class QRandomGenerator;

namespace velmo::faults {

/// A build of a dozen files and some two megabytes, with all sizes and names that are hard to take. With \a byContent
/// its addresses are named after what the files hold, as velmo-publish names them; else the files lie at their paths.
test::Build firstBuild(QRandomGenerator &random, bool byContent);

/// What may follow \a before: files changed, added and gone.
test::Build nextBuild(const test::Build &before, QRandomGenerator &random, bool byContent);

} // namespace velmo::faults
