#pragma once

#include "widgets/boxes.h"

/// The page "Record": records the board's trace stream into a file.
class TOVAStreamingTab : public Q3VBox
{
    Q_OBJECT

public:
    explicit TOVAStreamingTab(QWidget* parent);

signals:
    /// A recording begins; comes in a pair with ungreyParentGUI().
    void greyParentGUI();
    void ungreyParentGUI();

public slots:
    /// Makes a running recording end after its current read.
    void brutalStop();

private:
    bool m_brutalStop = false;
};
