#include "board/errortext.h"
#include "board/flashimage.h"
#include "burn/branneltab.h"
#include "burn/burnprogress.h"
#include "config/configuration.h"
#include "widgets/waitingclicks.h"
#include "widgets/warningbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QEventLoopLocker>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScopeGuard>

namespace
{

constexpr unsigned int imageSize = 0x01000000;
constexpr unsigned int imageBaseAddress = 0x01000000;

QString eightDigits(std::uint32_t number)
{
    return QString::number(number, 16).rightJustified(8, QLatin1Char('0')).toUpper();
}

QString summary(const BRAN_FLASH_IMAGE_T& image)
{
    return QStringLiteral(
               "Last burned image base address: 0x%1, full size: 0x%2,  used size: 0x%3.")
        .arg(eightDigits(image.baseAddress), eightDigits(image.fullSize),
             eightDigits(image.endAddress - image.baseAddress));
}

} // namespace

void TOVABrannelTab::go()
{
    // A shortcut clicks the button after a moment. By then another key may have started a burn, or
    // the window may be closed.
    if (!m_burnButton->isEnabled() || isWindowClosed(*this)) {
        return;
    }
    // Closing the window must neither cut the burn short nor hide its error.
    const QEventLoopLocker untilReported;
    const QString lodPath = m_lodComboBox->currentText();
    const QString cfpPath = m_cfpComboBox->currentText();
    started();
    const auto finish = qScopeGuard([this] { stopped(); });

    if (lodPath.isEmpty()) {
        m_statusLabel->setText(QStringLiteral("Choose a file!"));
        return;
    }
    const std::optional<BRAN_ERR_T> result = buildAndDownload(lodPath, cfpPath);
    dropWaitingClicks();
    if (result == BRAN_SUCCESS) {
        m_statusLabel->setText(QStringLiteral("Done."));
        return;
    }
    m_statusLabel->setText(QStringLiteral("Error."));
    if (result) {
        showWarning(this, boardErrorText(*result));
    }
}

/// Burns the two files as one image. Returns the download's result, or nothing if the image could
/// not be made, which the user has been told.
std::optional<BRAN_ERR_T> TOVABrannelTab::buildAndDownload(const QString& lodPath,
                                                           const QString& cfpPath)
{
    const FlashImage image(BRAN_CreateFlashImage(imageSize, imageBaseAddress,
                                                 m_fullImageCheckBox->isChecked(), false));
    showStep(QStringLiteral("Creating Image..."));

    if (!fill(image.get(), lodPath)) {
        return std::nullopt;
    }
    if (!image) {
        showWarning(this, QStringLiteral("The board library has made no flash image, and gives no "
                                         "reason. Nothing was burned."));
        return std::nullopt;
    }
    m_imageInfoLabel->setText(summary(*image));
    TOVAConfiguration::addLastLod(lodPath, true);
    saveRecentFiles();

    if (!cfpPath.isEmpty()) {
        if (!fill(image.get(), cfpPath)) {
            return std::nullopt;
        }
        TOVAConfiguration::addLastCfp(cfpPath, true);
        saveRecentFiles();
    }

    showStep(QStringLiteral("Burning..."));
    const BRAN_ERR_T result = BRAN_DownloadFlash(
        image->baseAddress, image->data, image->endAddress - image->baseAddress,
        image->downloadFlag, m_verifyCheckBox->isChecked(), burnProgress, verifyProgress);
    m_progressBar->setValue(0);
    return result;
}

/// Places a file in the image; false after a failure, which the user has seen.
bool TOVABrannelTab::fill(BRAN_FLASH_IMAGE_T* image, const QString& path)
{
    unsigned int filledSize = 0;
    const BRAN_ERR_T result =
        BRAN_FillFlashImage(path.toLocal8Bit().constData(), image, filledSize);
    if (result != BRAN_SUCCESS) {
        dropWaitingClicks();
        showWarning(this, path + QStringLiteral(" :\n") + boardErrorText(result));
    }
    return result == BRAN_SUCCESS;
}

void TOVABrannelTab::saveRecentFiles()
{
    TOVAConfiguration::dumpConfig();
    updateComboBoxesFromConfig();
}

/// Shows and paints the next status, because the next board call may take long.
void TOVABrannelTab::showStep(const QString& status)
{
    m_statusLabel->setText(status);
    QCoreApplication::processEvents();
}
