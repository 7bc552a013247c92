#include "support/WindowsSkips.h"

#include <QMetaMethod>

#include <algorithm>
#include <array>
#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

struct Skip {
    QLatin1StringView test;
    QLatin1StringView function;
    QLatin1StringView reason;
};

constexpr auto clockGoesOn = "the clock cannot be stopped there"_L1;
constexpr auto otherPermissions = "permissions are other ones there"_L1;

// Every test function that does not run on Windows or under Wine. What else differs there, its test knows.
constexpr std::array skips = {
    Skip{"tst_Paths"_L1, "gamesRootFollowsTheHomeFolder"_L1, "the account tells the home folder, not a variable"_L1},
    Skip{"tst_DownloadClient"_L1, "partFileThatEndsEarlyCannotBeHashed"_L1,
         "no file claims more bytes than it gives"_L1},
    Skip{"tst_DownloadClient"_L1, "fullDiskIsTold"_L1,
         "no device is always full; fullFileTakesNothingMore fills the drive"_L1},
    Skip{"tst_DownloadClient"_L1, "linkInPlaceOfThePartFileIsNotWrittenThrough"_L1,
         "making a symbolic link takes a right of its own"_L1},
    Skip{"tst_DownloadClient"_L1, "linkInPlaceOfThePartFileThatStaysFails"_L1,
         "making a symbolic link takes a right of its own"_L1},
    Skip{"tst_DownloadClient"_L1, "linkInPlaceOfTheDestinationIsReplaced"_L1,
         "making a symbolic link takes a right of its own"_L1},
    Skip{"tst_DownloadClient"_L1, "linkedFoldersAreFollowed"_L1, "making a symbolic link takes a right of its own"_L1},
    Skip{"tst_DownloadClient"_L1, "startDuringATransferIsAMistake"_L1, "a build for players has no assertions"_L1},
    Skip{"tst_DownloadManager"_L1, "programsGetTheirExecuteBits"_L1, "there are no execute bits"_L1},
    Skip{"tst_DownloadManager"_L1, "nextJobStartsItsCountsAnew"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "retryableFailureIsTriedFourTimesWithGrowingDelays"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "reportsComeTwiceASecondWhetherOrNotSomethingChanged"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "reportsStopWithTheJob"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "speedNeedsTwoSamples"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "estimateNeedsMoreThanAKibibytePerSecond"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "speedIsTakenOverSixSeconds"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "twoSamplesRemainHoweverOld"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "fallingByteCountKeepsTheOldSpeed"_L1, clockGoesOn},
    Skip{"tst_DownloadManager"_L1, "finishedJobCountsItsManifestSizes"_L1, clockGoesOn},
    Skip{"tst_InstallManager"_L1, "committedProgramsCanBeRun"_L1, "there are no execute bits"_L1},
    Skip{"tst_InstallManager"_L1, "commitGivesNoPermissionThroughALink"_L1, "there are no execute bits"_L1},
    Skip{"tst_InstallManager"_L1, "freeSpaceIsThatOfTheRootsOwnDrive"_L1, "Wine has one drive"_L1},
    Skip{"tst_InstallManager"_L1, "prepareRefusesAReadOnlyFolder"_L1, "a read-only folder takes files all the same"_L1},
    Skip{"tst_MainWindow"_L1, "captionIsTheTitleBarsGround"_L1,
         "without a real window; tst_WindowMessages asks one"_L1},
    Skip{"tst_Picture"_L1, "onlyRegularFilesAreOpened"_L1, "nothing tells of a file that is opened"_L1},
    Skip{"tst_VerificationManager"_L1, "danglingLinkIsMissing"_L1,
         "making a symbolic link takes a right of its own"_L1},
    Skip{"tst_ContentStore"_L1, "pruneNamesWhatItCannotRemove"_L1, otherPermissions},
};

const Skip *skipOf(const QMetaObject &test, const QByteArray &function)
{
    const auto found = std::find_if(skips.begin(), skips.end(), [&](const Skip &skip) {
        return skip.test == QLatin1StringView(test.className()) && skip.function == QLatin1StringView(function);
    });
    return found == skips.end() ? nullptr : &*found;
}

/// Whether Qt Test takes \a method for a test function.
bool isTest(const QMetaMethod &method)
{
    const QByteArray name = method.name();
    constexpr std::array frame = {"initTestCase"_L1, "cleanupTestCase"_L1, "init"_L1, "cleanup"_L1};
    return method.methodType() == QMetaMethod::Slot && method.access() == QMetaMethod::Private &&
           method.parameterCount() == 0 && !name.endsWith("_data") &&
           std::find(frame.begin(), frame.end(), QLatin1StringView(name)) == frame.end();
}

} // namespace

QStringList functionsForWindows(const QMetaObject &test)
{
    QStringList functions;
    bool all = true;
    for (int i = test.methodOffset(); i < test.methodCount(); ++i) {
        const QMetaMethod method = test.method(i);
        if (!isTest(method)) {
            continue;
        }
        if (const Skip *const skip = skipOf(test, method.name())) {
            std::printf("SKIP   : %s::%s() on Windows: %s\n", test.className(), skip->function.data(),
                        skip->reason.data());
            all = false;
        } else {
            functions.append(QString::fromLatin1(method.name()));
        }
    }
    std::fflush(stdout);
    return all ? QStringList() : functions;
}

} // namespace velmo::test
