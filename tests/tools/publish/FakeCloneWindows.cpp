#include "tools/publish/FakeClone.h"

// No file shares the bytes of another there.

namespace velmo::test {

FakeClone::FakeClone(const QByteArray &bytes)
{
    Q_UNUSED(bytes)
}

FakeClone::~FakeClone() = default;

int FakeClone::clones()
{
    return 0;
}

} // namespace velmo::test
