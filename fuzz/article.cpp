// The body of an article: its blocks, and the labels that show them. The first byte says whether UTF-8 follows or, when
// it is odd, UTF-16 as it stands, which may hold halves of surrogate pairs as a JSON text may.

#include "Target.h"
#include "data/NewsArticle.h"
#include "pages/ArticleBody.h"

#include <QApplication>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::ArticleBlock;
using velmo::ArticleBody;
using velmo::fuzz::require;

namespace {

constexpr qsizetype mostShownBlocks = 40; // labels are slow to make, and the next forty would be the same

QString bodyOf(const QByteArray &input)
{
    const bool isUtf16 = !input.isEmpty() && (input.front() & 1) != 0;
    const QByteArray bytes = input.mid(1);
    return isUtf16 ? QString(reinterpret_cast<const QChar *>(bytes.constData()), bytes.size() / 2)
                   : QString::fromUtf8(bytes);
}

QString withoutBlanks(const QString &text)
{
    QString rest;
    std::copy_if(text.begin(), text.end(), std::back_inserter(rest), [](QChar c) { return !c.isSpace(); });
    return rest;
}

/// The text of \a body without its markers, by another way than the launcher's.
QString readableText(const QString &body)
{
    QString text;
    const QStringList lines = body.split(u'\n');
    for (const QString &line : lines) {
        const QString trimmed = line.trimmed();
        const qsizetype marker = trimmed.startsWith("## "_L1) ? 3 : trimmed.startsWith("- "_L1) ? 2 : 0;
        text += withoutBlanks(trimmed.sliced(marker));
    }
    return text;
}

void checkBlocks(const QList<ArticleBlock> &blocks, const QString &body)
{
    QString shown;
    for (const ArticleBlock &block : blocks) {
        require(!block.text.isEmpty(), "no block is empty");
        require(block.text == block.text.trimmed() && !block.text.contains(u'\n'), "a block is one trimmed line");
        shown += withoutBlanks(block.text);
    }
    require(shown == readableText(body), "the blocks hold the body's text, all of it and in its order");
}

/// Every block has a label, and none of them takes its text for markup.
void checkLabels(const QList<ArticleBlock> &blocks)
{
    QWidget page;
    auto *column = new QVBoxLayout(&page);
    ArticleBody body(column);
    body.setBlocks(blocks);
    const QList<QLabel *> labels = page.findChildren<QLabel *>();
    qsizetype next = 0;
    for (const QLabel *label : labels) {
        require(label->textFormat() == Qt::PlainText, "an article is shown as it stands, never as markup");
        const bool isText = next < blocks.size() && label->text() == blocks.at(next).text;
        next += isText ? 1 : 0;
    }
    require(next == blocks.size(), "every block is shown, in its order");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication<QApplication>();
    NewsArticle article;
    article.body = bodyOf(input);
    const QList<ArticleBlock> blocks = article.blocks();
    checkBlocks(blocks, article.body);
    require(article.readingMinutes() >= 1, "an article takes a minute to read at least");
    checkLabels(blocks.first(std::min(blocks.size(), mostShownBlocks)));
}
