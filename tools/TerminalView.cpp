#include "tools/TerminalView.h"

namespace {

// The mean of a kScale x kScale block of the image.
int BlockMean(const uint8_t* pImage, uint32_t uiWidth, uint32_t uiX, uint32_t uiY)
{
    unsigned uiSum = 0;
    for (uint32_t y = 0; y < ClTerminalView::kScale; ++y)
        for (uint32_t x = 0; x < ClTerminalView::kScale; ++x)
            uiSum += pImage[(uiY + y) * uiWidth + uiX + x];
    return static_cast<int>(uiSum / (ClTerminalView::kScale * ClTerminalView::kScale));
}

// Colours 232 (almost black) to 255 (almost white) are the grey ramp of a 256-colour terminal.
int GreyColour(int nValue)
{
    return 232 + nValue * 23 / 255;
}

}  // namespace

ClTerminalView::ClTerminalView(FILE* pOut, bool bInteractive) : m_pOut(pOut), m_bInteractive(bInteractive)
{
    if (m_bInteractive)
        fputs("\x1b[?25l\x1b[2J", m_pOut);   // hide the cursor, clear the screen
}

ClTerminalView::~ClTerminalView()
{
    if (m_bInteractive)
        fputs("\x1b[0m\x1b[?25h", m_pOut);   // default colours, cursor back
    fflush(m_pOut);
}

void ClTerminalView::Draw(const uint8_t* pImage, uint32_t uiWidth, uint32_t uiHeight, const char* pszStatus)
{
    if (m_bInteractive)
        fputs("\x1b[H", m_pOut);   // redraw from the top left corner
    const uint32_t uiCellHeight = 2 * kScale;
    for (uint32_t y = 0; y + uiCellHeight <= uiHeight; y += uiCellHeight) {
        for (uint32_t x = 0; x + kScale <= uiWidth; x += kScale)
            fprintf(m_pOut, "\x1b[38;5;%dm\x1b[48;5;%dm\xe2\x96\x80", GreyColour(BlockMean(pImage, uiWidth, x, y)),
                    GreyColour(BlockMean(pImage, uiWidth, x, y + kScale)));
        fputs("\x1b[0m\n", m_pOut);
    }
    fprintf(m_pOut, "%s%s\n", pszStatus, m_bInteractive ? "\x1b[K" : "");
    fflush(m_pOut);
}
