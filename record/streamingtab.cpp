#include "record/streamingtab.h"

TOVAStreamingTab::TOVAStreamingTab(QWidget* parent) : Q3VBox(parent) {}

void TOVAStreamingTab::brutalStop()
{
    m_brutalStop = true;
}
