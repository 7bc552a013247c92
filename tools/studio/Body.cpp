#include "studio/Body.h"

#include <QBuffer>

#include <algorithm>
#include <utility>

namespace velmo::studio {

Body::Body(std::unique_ptr<QIODevice> device, qint64 offset, qint64 length)
    : device_(std::move(device))
    , position_(offset)
    , remaining_(length)
{
    device_->seek(offset);
}

Body::Body(const QByteArray &text)
    : Body(openBytes(text), 0, text.size())
{}

void Body::cut(qint64 length)
{
    remaining_ = std::clamp<qint64>(length, 0, remaining_);
}

void Body::corrupt(qint64 position)
{
    corrupted_.append(position);
}

QByteArray Body::read(qint64 most)
{
    if (remaining_ == 0) {
        return {};
    }
    QByteArray bytes = device_->read(std::min(most, remaining_));
    for (const qint64 wanted : std::as_const(corrupted_)) {
        const qint64 index = wanted - position_;
        if (index >= 0 && index < bytes.size()) {
            bytes[index] = static_cast<char>(~bytes.at(index));
        }
    }
    position_ += bytes.size();
    remaining_ -= bytes.size();
    return bytes;
}

std::unique_ptr<QIODevice> openBytes(const QByteArray &bytes)
{
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(bytes);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

} // namespace velmo::studio
