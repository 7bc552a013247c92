#include "support/TestEnvironment.h"
#include "widgets/Picture.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>

#include <array>

#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace Qt::Literals::StringLiterals;
using velmo::loadPicture;

namespace {

QByteArray encoded(const char *format)
{
    QImage image(6, 4, QImage::Format_RGB32);
    image.fill(QColor(200, 10, 60));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

#ifdef Q_OS_LINUX

/// A pipe with \a bytes in it, which somebody holds open: who reads it does not wait.
QString filledPipe(const QString &path, const QByteArray &bytes)
{
    if (mkfifo(qPrintable(path), 0600) != 0) {
        qFatal("No pipe can be made");
    }
    const int holder = ::open(qPrintable(path), O_RDWR | O_CLOEXEC); // until this program ends
    if (::write(holder, bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size()) {
        qFatal("The pipe takes nothing");
    }
    return path;
}

/// Whether loading \a path opens it.
bool loadingOpens(const QString &path)
{
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    inotify_add_watch(watch, qPrintable(path), IN_OPEN);
    loadPicture(path);
    std::array<char, 4096> events{};
    const bool opened = ::read(watch, events.data(), events.size()) > 0;
    ::close(watch);
    return opened;
}

#else

// Nothing tells there of a file that is opened, and the test is not run.
QString filledPipe(const QString &path, const QByteArray &)
{
    return path;
}

bool loadingOpens(const QString &)
{
    return false;
}

#endif

} // namespace

class tst_Picture : public QObject {
    Q_OBJECT

private slots:
    void pixelsAreRead_data();
    void pixelsAreRead();
    void smallestPicturesAreRead_data();
    void smallestPicturesAreRead();
    void nameInTwoTimesSetsNoRatio();
    void resourceIsRead();
    void drawingIsNotRead_data();
    void drawingIsNotRead();
    void whatIsNoPictureIsNull_data();
    void whatIsNoPictureIsNull();
    void onlyRegularFilesAreOpened_data();
    void onlyRegularFilesAreOpened();

private:
    QString write(const QString &name, const QByteArray &bytes) const;

    QTemporaryDir folder_;
};

QString tst_Picture::write(const QString &name, const QByteArray &bytes) const
{
    QFile file(folder_.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("%s cannot be written", qPrintable(name));
    }
    return file.fileName();
}

void tst_Picture::pixelsAreRead_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QString>("name");
    QTest::newRow("png") << QByteArray("png") << u"picture.png"_s;
    QTest::newRow("jpeg") << QByteArray("jpeg") << u"picture.jpg"_s;
    QTest::newRow("bmp") << QByteArray("bmp") << u"picture.bmp"_s;
    QTest::newRow("of another name") << QByteArray("png") << u"picture.jpg"_s;
    QTest::newRow("named like a drawing") << QByteArray("png") << u"picture.svg"_s;
    QTest::newRow("without an ending") << QByteArray("jpeg") << u"picture"_s;
}

void tst_Picture::pixelsAreRead()
{
    QFETCH(const QByteArray, format);
    QFETCH(const QString, name);
    const QPixmap picture = loadPicture(write(name, encoded(format.constData())));
    QCOMPARE(picture.size(), QSize(6, 4));
    QVERIFY(qAbs(picture.toImage().pixelColor(3, 2).red() - 200) < 10);
}

void tst_Picture::smallestPicturesAreRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QList<QByteArray> formats = QImageReader::supportedImageFormats(); // with what plugins there are
    if (formats.contains("gif")) {
        QTest::newRow("gif") << QByteArray::fromBase64("R0lGODlhAQABAIAAAP8AAP///ywAAAAAAQABAAACAkQBADs=");
    }
    if (formats.contains("webp")) {
        QTest::newRow("webp") << QByteArray::fromBase64("UklGRiIAAABXRUJQVlA4IBYAAAAwAQCdASoBAAEADsD+JaQAA3AAAAAA");
    }
    QTest::newRow("png") << encoded("png");
}

/// In the formats that Qt does not write.
void tst_Picture::smallestPicturesAreRead()
{
    QFETCH(const QByteArray, bytes);
    QVERIFY(!loadPicture(write(u"smallest"_s, bytes)).isNull());
}

void tst_Picture::nameInTwoTimesSetsNoRatio()
{
    const QString path = write(u"picture@2x.png"_s, encoded("png"));
    QCOMPARE(QPixmap(path).devicePixelRatio(), 2.0);
    QCOMPARE(loadPicture(path).devicePixelRatio(), 1.0);
}

void tst_Picture::resourceIsRead()
{
    QVERIFY(!loadPicture(u":/images/velmo-wordmark.png"_s).isNull());
}

void tst_Picture::drawingIsNotRead_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("by its name") << u"drawing.svg"_s;
    QTest::newRow("named like pixels") << u"drawing.png"_s;
}

void tst_Picture::drawingIsNotRead()
{
    QFETCH(const QString, name);
    const QString path = write(
        name, R"(<svg xmlns="http://www.w3.org/2000/svg" width="6" height="4"><rect width="6" height="4"/></svg>)");
    if (QImageReader::supportedImageFormats().contains("svg")) {
        QVERIFY(!QPixmap(path).isNull()); // it is one that could be read
    }
    QVERIFY(loadPicture(path).isNull());
}

void tst_Picture::whatIsNoPictureIsNull_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("no name") << QString();
    QTest::newRow("missing") << folder_.filePath(u"missing.png"_s);
    QTest::newRow("missing resource") << u":/missing.png"_s;
    QTest::newRow("folder") << folder_.path();
    QTest::newRow("empty") << write(u"empty.png"_s, {});
    QTest::newRow("text") << write(u"text.png"_s, "no picture");
    QTest::newRow("cut off") << write(u"cut.png"_s, encoded("png").first(20));
}

void tst_Picture::whatIsNoPictureIsNull()
{
    QFETCH(const QString, path);
    QVERIFY(loadPicture(path).isNull());
}

void tst_Picture::onlyRegularFilesAreOpened_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("opened");
    const QString pipe = filledPipe(folder_.filePath(u"pipe.png"_s), encoded("png"));
    const QString link = folder_.filePath(u"link.png"_s);
    QVERIFY(QFile::link(pipe, link));
    QTest::newRow("picture") << write(u"picture.png"_s, encoded("png")) << true;
    QTest::newRow("no picture") << write(u"text.png"_s, "no picture") << true;
    QTest::newRow("pipe") << pipe << false;
    QTest::newRow("link to a pipe") << link << false;
    QTest::newRow("empty, as a device is on Windows") << write(u"empty.png"_s, {}) << false;
}

void tst_Picture::onlyRegularFilesAreOpened()
{
    QFETCH(const QString, path);
    QFETCH(const bool, opened);
    QCOMPARE(loadingOpens(path), opened);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Picture, QGuiApplication>(argc, argv);
}

#include "tst_Picture.moc"
