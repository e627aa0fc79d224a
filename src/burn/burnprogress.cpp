#include "burn/burnprogress.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>

QProgressBar* s_progress = nullptr;
QLabel* s_label = nullptr;
bool s_newBurnProcess = false;

namespace
{

constexpr int maxPercent = 100;

/// The fraction in whole per cent, rounded down: 100 is shown only when all is done.
int toPercent(float fraction)
{
    const float percent = fraction * 100.0F;
    // Negated, so that a NaN ends here too.
    if (!(percent > 0.0F)) {
        return 0;
    }
    return percent < maxPercent ? static_cast<int>(percent) : maxPercent;
}

void showProgress(float fraction)
{
    s_progress->setMaximum(maxPercent);
    s_progress->setValue(toPercent(fraction));
    QCoreApplication::processEvents();
}

} // namespace

void burnProgress(float fraction)
{
    s_newBurnProcess = true;
    showProgress(fraction);
}

void verifyProgress(float fraction)
{
    if (s_newBurnProcess) {
        s_newBurnProcess = false;
        s_label->setText(QStringLiteral("Verifying..."));
    }
    showProgress(fraction);
}
