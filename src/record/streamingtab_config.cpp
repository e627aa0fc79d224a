#include "record/streamingtab.h"

#include <QCheckBox>
#include <QLineEdit>

namespace
{

constexpr std::uint32_t boardBufferMode = 0;
constexpr std::uint32_t streamMode = 1;
constexpr std::uint32_t recordXcpu = 0;
constexpr std::uint32_t recordBcpu = 1;
constexpr std::uint8_t noCpuFilter = 0;
constexpr std::uint8_t oneCpuOnly = 0x40;

std::uint32_t hexValue(const QLineEdit& edit)
{
    return edit.text().toUInt(nullptr, 16);
}

} // namespace

BRAN_RECORD_CONFIG_T TOVAStreamingTab::makeRecordConfigFromUserOptions()
{
    BRAN_RECORD_CONFIG_T config = {};
    const bool pxtsTrigger = m_pxtsTriggerGroup->isChecked();
    config.exlTrigger = m_exlTriggerGroup->isChecked();
    config.pxtsStandardTrigger = pxtsTrigger && m_pxtsStandardCheck->isChecked();
    config.pxtsCustomTagTrigger = pxtsTrigger && m_pxtsCustomTagCheck->isChecked();
    config.exlStartAddress = hexValue(*m_startAddressEdit);
    config.exlEndAddress = hexValue(*m_endAddressEdit);
    config.pxtsCustomTag = static_cast<std::uint16_t>(hexValue(*m_customTagEdit));

    const bool rejectXcpu = m_xcpuCheck->isChecked();
    const bool rejectBcpu = m_bcpuCheck->isChecked();
    config.cpuFilterSelect = rejectBcpu ? recordXcpu : recordBcpu;
    // Rejecting both would record nothing, so both count as none.
    config.cpuFilterMask1 = rejectXcpu != rejectBcpu ? oneCpuOnly : noCpuFilter;
    config.cpuFilterMask2 = config.cpuFilterMask1;

    config.recordMode = m_hardwareBufferGroup->isChecked() ? boardBufferMode : streamMode;
    return config;
}
