#include "imaging/IpFilterVariance.h"

namespace FilterVariance {

void Variance8ToDouble(const uint8_t* pIn, int32_t nInStride, double* pOut, int32_t nOutStride, int32_t nWidth,
                       int32_t nHeight, int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    // Column sums of the window's rows, then per output row the window sums
    // along the row, and last the formula over the whole row, which the
    // compiler can run on two doubles at a time.
    std::vector<int32_t> aColumnSums = AllocateWorkBuffer<int32_t>(size_t(nWidth), 0);
    std::vector<int32_t> aColumnSquares = AllocateWorkBuffer<int32_t>(size_t(nWidth), 0);
    std::vector<double> aSums = AllocateWorkBuffer<double>(size_t(nWidth));
    std::vector<double> aSquares = AllocateWorkBuffer<double>(size_t(nWidth));
    std::vector<double> aColumns = AllocateWorkBuffer<double>(size_t(nWidth));
    int32_t* pColumnSums = aColumnSums.data();
    int32_t* pColumnSquares = aColumnSquares.data();
    for (int32_t x = 0; x < nWidth; ++x)
        aColumns[x] = CutWindowCount(x, nWidth, nHalf);

    auto addRow = [&](int64_t nRow, int32_t nSign) {
        const uint8_t* pRow = pIn + nRow * nInStride;
        for (int32_t x = 0; x < nWidth; ++x) {
            const int32_t nValue = pRow[x];
            pColumnSums[x] += nSign * nValue;
            pColumnSquares[x] += nSign * nValue * nValue;
        }
    };
    const int64_t nFirstY = std::min<int64_t>(nHalf, nHeight - 1);
    for (int64_t r = 0; r <= nFirstY; ++r)
        addRow(r, 1);
    const int64_t nFirstX = std::min<int64_t>(nHalf, nWidth - 1);
    for (int32_t y = 0; y < nHeight; ++y) {
        int32_t nSum = 0;
        int32_t nSquares = 0;
        for (int64_t i = 0; i <= nFirstX; ++i) {
            nSum += pColumnSums[i];
            nSquares += pColumnSquares[i];
        }
        for (int32_t x = 0; x < nWidth; ++x) {
            aSums[x] = nSum;
            aSquares[x] = nSquares;
            const int64_t nEntering = int64_t(x) + nHalf + 1;
            if (nEntering < nWidth) {
                nSum += pColumnSums[nEntering];
                nSquares += pColumnSquares[nEntering];
            }
            if (x >= nHalf) {
                nSum -= pColumnSums[x - nHalf];
                nSquares -= pColumnSquares[x - nHalf];
            }
        }
        const double dRows = CutWindowCount(y, nHeight, nHalf);
        double* pOutRow = pOut + int64_t(y) * nOutStride;
        const double* pSums = aSums.data();
        const double* pSquares = aSquares.data();
        const double* pColumns = aColumns.data();
        for (int32_t x = 0; x < nWidth; ++x) {
            // n as the integer it is, then as double: cols * rows is exact.
            const double dCount = pColumns[x] * dRows;
            pOutRow[x] = (pSquares[x] - pSums[x] * pSums[x] / dCount) / (dCount - 1.0);
        }
        const int64_t nEntering = int64_t(y) + nHalf + 1;
        if (nEntering < nHeight)
            addRow(nEntering, 1);
        const int64_t nLeaving = int64_t(y) - nHalf;
        if (nLeaving >= 0)
            addRow(nLeaving, -1);
    }
}

}  // namespace FilterVariance
