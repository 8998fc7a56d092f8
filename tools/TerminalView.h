// The live view of `kr9 preview`: a grayscale image drawn with half-block
// characters (each character cell shows two pixels rows of blocks, the upper
// in the foreground colour, the lower in the background colour) in the 24
// grey levels of a 256-colour terminal.
#pragma once

#include <cstdint>
#include <cstdio>

class ClTerminalView
{
public:
    // bInteractive: out is a terminal; the view then redraws in place with the
    // cursor hidden, and the destructor gives the terminal back as it was.
    ClTerminalView(FILE* pOut, bool bInteractive);
    ~ClTerminalView();
    ClTerminalView(const ClTerminalView&) = delete;
    ClTerminalView& operator=(const ClTerminalView&) = delete;

    // Draws the image shrunk by kScale in each direction, then the status line.
    void Draw(const uint8_t* pImage, uint32_t uiWidth, uint32_t uiHeight, const char* pszStatus);

    // 256 x 360 pixels become 64 columns and 45 lines: fits a common terminal.
    static constexpr uint32_t kScale = 4;

private:
    FILE* m_pOut;
    bool m_bInteractive;
};
