#pragma once

#include "board/branlib.h"
#include "widgets/boxes.h"
#include "widgets/focuskeeper.h"

#include <optional>

class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;

/// The page "Burn Flash": chooses a load file and an optional calibration file, burns them into the
/// board as one flash image, and queries the board's version.
class TOVABrannelTab : public Q3VBox
{
    Q_OBJECT

public:
    explicit TOVABrannelTab(QWidget* parent);

    /// Refills both lists of recent files and keeps what the user has typed.
    void updateComboBoxesFromConfig();

signals:
    /// A burn begins; comes in a pair with ungreyParentGUI().
    void greyParentGUI();
    void ungreyParentGUI();

protected slots:
    void go();
    void choseLodFile();
    void choseCfpFile();
    void lodActivated(const QString& lodfile);
    void cfpActivated(const QString& cfpfile);
    void started();
    void stopped();
    void getVersion();

private:
    struct FileKind;

    void createLodGroup();
    void createCfpGroup();
    void createImageInfoGroup();
    void createVersionGroup();
    void createBurnGroup();
    void createFileRow(QWidget* group, const QString& name, QComboBox*& combo,
                       void (TOVABrannelTab::*choose)());
    void createBurnButton(QWidget* row);
    void takeDroppedFiles();
    void setControlsEnabled(bool enabled);

    void choseFile(QComboBox& combo, const FileKind& kind);
    static void rememberFolder(const QString& file, const FileKind& kind);

    std::optional<BRAN_ERR_T> buildAndDownload(const QString& lodPath, const QString& cfpPath);
    bool fill(BRAN_FLASH_IMAGE_T* image, const QString& path);
    void saveRecentFiles();
    void showStep(const QString& status);

    QProgressBar* m_progressBar = nullptr;
    QComboBox* m_lodComboBox = nullptr;
    QComboBox* m_cfpComboBox = nullptr;
    QCheckBox* m_verifyCheckBox = nullptr;
    QCheckBox* m_fullImageCheckBox = nullptr;
    QLabel* m_statusLabel = nullptr;
    QPushButton* m_burnButton = nullptr;
    QLabel* m_versionLabel = nullptr;
    QLabel* m_imageInfoLabel = nullptr;
    Q3VGroupBox* m_lodGroupBox = nullptr;
    Q3VGroupBox* m_cfpGroupBox = nullptr;
    FocusKeeper m_focus;
};
