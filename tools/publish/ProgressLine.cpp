#include "publish/ProgressLine.h"

#include "core/Format.h"

#include <QTextStream>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

struct Wording {
    QStringView running;
    QStringView done;
};

/// In the order of PublishStep.
constexpr std::array<Wording, 5> wordings = {{{u"Scanning", u"Scanned"},
                                              {u"Hashing", u"Hashed"},
                                              {u"Copying", u"Copied"},
                                              {u"Checking", u"Checked"},
                                              {u"Uploading", u"Uploaded"}}};

const Wording &wordingOf(PublishStep step)
{
    return wordings.at(static_cast<std::size_t>(step));
}

QString summary(const PublishProgress &progress)
{
    const QString noun = progress.filesDone == 1 ? u"file"_s : u"files"_s;
    return u"%1 %2 %3, %4."_s.arg(wordingOf(progress.step).done)
        .arg(progress.filesDone)
        .arg(noun, formatBytes(progress.bytesDone));
}

QString position(const PublishProgress &progress)
{
    if (progress.step == PublishStep::Scan) {
        return u"%1: %2 entries, %3 files, %4"_s.arg(wordingOf(progress.step).running)
            .arg(progress.entriesDone)
            .arg(progress.filesDone)
            .arg(formatBytes(progress.bytesDone));
    }
    return u"%1: %2 of %3 files, %4 of %5"_s.arg(wordingOf(progress.step).running)
        .arg(progress.filesDone)
        .arg(progress.files)
        .arg(formatBytes(progress.bytesDone), formatBytes(progress.bytes));
}

} // namespace

ProgressLine::ProgressLine(QTextStream &out, bool terminal)
    : out_(out)
    , terminal_(terminal)
{}

void ProgressLine::show(const PublishProgress &progress)
{
    if (progress.finished) {
        clear();
        out_ << summary(progress) << Qt::endl;
    } else if (terminal_) {
        rewrite(position(progress));
    }
}

void ProgressLine::clear()
{
    if (shown_ > 0) {
        rewrite({});
        out_ << u'\r' << Qt::flush;
    }
}

/// Blanks cover what a shorter text would leave standing; that works on every terminal.
void ProgressLine::rewrite(const QString &text)
{
    out_ << u'\r' << text.leftJustified(shown_) << Qt::flush;
    shown_ = text.size();
}

} // namespace velmo::publish
