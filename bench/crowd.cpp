// Many players in one process, each with the launcher's own update check and download engine and with connections of
// its own. Does what its standard input says, one line after the other, and answers each with a line when the last
// player is through; ends with its input. bench/patch-day drives it.

#include "game/DownloadManager.h"
#include "game/UpdateManager.h"
#include "net/ApiClient.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QSocketNotifier>
#include <QSslCertificate>
#include <QSslConfiguration>

#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Nothing but the loopback authority, since every connection would read all of the system's.
void trustTheLoopbackAuthority()
{
    QFile authority(u":/certificates/authority.pem"_s);
    if (!authority.open(QIODevice::ReadOnly)) {
        qFatal("The certificates are missing.");
    }
    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.setCaCertificates({QSslCertificate(&authority)});
    QSslConfiguration::setDefaultConfiguration(trust);
}

velmo::Manifest readManifest(const QString &path)
{
    QFile file(path);
    QString error = u"cannot be opened"_s;
    velmo::Manifest manifest;
    if (file.open(QIODevice::ReadOnly)) {
        manifest = velmo::Manifest::fromJson(QJsonDocument::fromJson(file.readAll()).object(), &error);
    }
    if (!manifest.valid) {
        qFatal("%s: %s", qPrintable(path), qPrintable(error));
    }
    return manifest;
}

/// Players do not start in the same moment, and so many handshakes at once would outlast the launcher's patience.
constexpr size_t startsAtOnce = 4;

enum class Outcome { Offered, UpToDate, NoAnswer, Ended, Failed };

class Player : public QObject {
    Q_OBJECT

public:
    Player(const QString &manifestUrl, QString folder)
        : api_(this)
        , update_(&api_)
        , network_(this)
        , download_(&network_)
        , folder_(std::move(folder))
    {
        update_.setManifestUrl(manifestUrl);
        connect(&update_, &velmo::UpdateManager::updateAvailable, this,
                [this](const velmo::Manifest & /*latest*/, const QList<velmo::ManifestFile> &changedFiles) {
                    pending_ = changedFiles;
                    emit through(Outcome::Offered);
                });
        connect(&update_, &velmo::UpdateManager::upToDate, this, [this] { emit through(Outcome::UpToDate); });
        connect(&update_, &velmo::UpdateManager::checkFailed, this, [this] { emit through(Outcome::NoAnswer); });
        connect(&download_, &velmo::DownloadManager::finished, this, [this] { emit through(Outcome::Ended); });
        connect(&download_, &velmo::DownloadManager::failed, this, [this] { emit through(Outcome::Failed); });
    }

    void check(const velmo::Manifest &installed) { update_.checkForUpdates(installed); }
    /// Fetches the first \a count files of what the last check has offered.
    void fetch(qsizetype count) { download_.start(pending_.mid(0, count), folder_, update_.manifestBaseUrl()); }

signals:
    void through(Outcome outcome);

private:
    velmo::ApiClient api_;
    velmo::UpdateManager update_;
    QNetworkAccessManager network_;
    velmo::DownloadManager download_;
    QList<velmo::ManifestFile> pending_;
    QString folder_;
};

class Crowd : public QObject {
    Q_OBJECT

public:
    Crowd(int players, const QString &manifestUrl, const QString &folder)
    {
        for (int number = 0; number < players; ++number) {
            players_.push_back(std::make_unique<Player>(manifestUrl, folder + u'/' + QString::number(number)));
            connect(players_.back().get(), &Player::through, this, &Crowd::count);
        }
    }

    /// "record FILE", "check", "fetch COUNT"; false for anything else.
    bool obey(const QString &line)
    {
        const QStringList words = line.split(u' ');
        outcomes_.fill(0);
        waiting_ = players_.size();
        if (words.first() == "record"_L1 && words.size() == 2) {
            installed_ = readManifest(words.at(1));
            answer();
        } else if (line == "check"_L1) {
            starting_ = 0;
            checking_ = true;
            while (starting_ < startsAtOnce) {
                startNext();
            }
        } else if (words.first() == "fetch"_L1 && words.size() == 2) {
            for (const auto &player : players_) {
                player->fetch(words.at(1).toInt());
            }
        } else {
            return false;
        }
        return true;
    }

private:
    void startNext()
    {
        if (starting_ < players_.size()) {
            players_.at(starting_)->check(installed_);
        }
        ++starting_;
    }

    void count(Outcome outcome)
    {
        ++outcomes_.at(static_cast<size_t>(outcome));
        if (checking_) {
            startNext();
        }
        if (--waiting_ == 0) {
            checking_ = false;
            answer();
        }
    }

    void answer() const
    {
        std::printf("{\"offered\": %d, \"current\": %d, \"unanswered\": %d, \"ended\": %d, \"failed\": %d}\n",
                    outcomes_.at(0), outcomes_.at(1), outcomes_.at(2), outcomes_.at(3), outcomes_.at(4));
        std::fflush(stdout);
    }

    std::vector<std::unique_ptr<Player>> players_;
    velmo::Manifest installed_;
    std::array<int, 5> outcomes_ = {};
    size_t waiting_ = 0;
    size_t starting_ = 0;
    bool checking_ = false;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(u"1.0.0"_s);
    const QStringList words = QCoreApplication::arguments().mid(1);
    if (words.size() != 3) {
        std::fputs("usage: velmo-bench-crowd PLAYERS MANIFEST-URL FOLDER\n", stderr);
        return 2;
    }
    trustTheLoopbackAuthority();
    QLoggingCategory::setFilterRules(u"velmo.*=false"_s);
    Crowd crowd(words.at(0).toInt(), words.at(1), words.at(2));
    // One line at a time is in the pipe, since the next is written only after the answer.
    const QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &crowd, [&crowd] {
        std::string line;
        if (!std::getline(std::cin, line)) {
            QCoreApplication::exit(0);
        } else if (!crowd.obey(QString::fromStdString(line))) {
            QCoreApplication::exit(2);
        }
    });
    return QCoreApplication::exec();
}

#include "crowd.moc"
