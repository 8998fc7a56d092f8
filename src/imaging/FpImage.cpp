#include "imaging/FpImage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "sdk/Exception.h"

namespace {

// Byte sizes are worked out in 64 bits. A size beyond the 32-bit range can
// never be an image, so it is pinned just outside that range: it still
// compares as too large, and products of two pinned values stay exact.
constexpr int64_t kBeyond32Bit = int64_t(1) << 31;

int64_t Pin(int64_t nValue)
{
    return std::min(std::max(nValue, -kBeyond32Bit), kBeyond32Bit);
}

// Length of one row in bytes. A negative length is left unrounded so that
// Create still sees it as negative and refuses it.
int64_t RowBytes(ClImage::EDataType eDataType, int32_t nWidth, int32_t nPlanes, bool bAligned)
{
    const int64_t nSamples = Pin(int64_t(nWidth) * nPlanes);
    int64_t nBytes = Pin(nSamples * ClImage::SampleBytes(eDataType));
    if (bAligned && nBytes > 0)
        nBytes = Pin((nBytes + 3) / 4 * 4);
    return nBytes;
}

ClImage::EContent ContentForPlanes(int32_t nPlanes)
{
    switch (nPlanes) {
    case 1:
        return ClImage::eGrayscale;
    case 3:
        return ClImage::eRGB;
    case 4:
        return ClImage::eRGBA;
    default:
        return ClImage::eUnknown;
    }
}

[[noreturn]] void ThrowAllocationFailed()
{
    throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
}

// Copies one plane sample by sample. TSample only needs the size of the
// sample type: the bits move unchanged, floating values included.
template <typename TSample>
void CopyPlaneSamples(const uint8_t* pSource, int32_t nSourceStride, int32_t nPlanes, int32_t nPlaneIndex,
                      uint8_t* pTarget, int32_t nTargetStride, int32_t nWidth, int32_t nHeight)
{
    for (int32_t y = 0; y < nHeight; ++y) {
        const TSample* pIn = reinterpret_cast<const TSample*>(pSource + int64_t(y) * nSourceStride) + nPlaneIndex;
        TSample* pOut = reinterpret_cast<TSample*>(pTarget + int64_t(y) * nTargetStride);
        for (int32_t x = 0; x < nWidth; ++x)
            pOut[x] = pIn[int64_t(x) * nPlanes];
    }
}

}  // namespace

ClImage::ClImage()
    : m_eDataType(unknown),
      m_eContent(eUnknown),
      m_nWidth(0),
      m_nHeight(0),
      m_nAuxX(0),
      m_nAuxY(0),
      m_bAligned(true),
      m_nPlanes(0),
      m_dMin(std::numeric_limits<double>::quiet_NaN()),
      m_dMax(std::numeric_limits<double>::quiet_NaN()),
      m_nAuxTag(0)
{
}

ClImage::ClImage(int32_t nWidth, int32_t nHeight, int32_t nPlanes, int32_t nAuxX, int32_t nAuxY) : ClImage()
{
    Create(uint8, nWidth, nHeight, nPlanes, nAuxX, nAuxY, true);
}

ClImage::~ClImage()
{
    Reset();
}

void ClImage::Reset()
{
    m_eDataType = unknown;
    m_eContent = eUnknown;
    m_nWidth = 0;
    m_nHeight = 0;
    m_nAuxX = 0;
    m_nAuxY = 0;
    m_pData.reset();
    m_bAligned = true;
    m_nPlanes = 0;
    m_dMin = std::numeric_limits<double>::quiet_NaN();
    m_dMax = std::numeric_limits<double>::quiet_NaN();
    m_nAuxTag = 0;
}

void ClImage::SetRange(EDataType eDataType)
{
    int nSignedBits = 0;
    switch (eDataType) {
    case uint8:
        m_dMin = 0.0;
        m_dMax = 255.0;
        return;
    case uint16:
        m_dMin = 0.0;
        m_dMax = 65535.0;
        return;
    case uint32:
        m_dMin = 0.0;
        m_dMax = 4294967295.0;
        return;
    case float32:
    case double64:
        // Nominal only: floating samples may lie outside it.
        m_dMin = -1.0;
        m_dMax = 1.0;
        return;
    case int8:
        nSignedBits = 8;
        break;
    case int16:
        nSignedBits = 16;
        break;
    case int32:
        nSignedBits = 32;
        break;
    default:
        m_dMin = std::numeric_limits<double>::quiet_NaN();
        m_dMax = std::numeric_limits<double>::quiet_NaN();
        return;
    }
    const double dHalfRange = std::ldexp(1.0, nSignedBits - 1);
    m_dMin = -dHalfRange;
    m_dMax = dHalfRange - 1.0;
}

void ClImage::Create(EDataType eDataType, int32_t nWidth, int32_t nHeight, int32_t nPlanes, int32_t nAuxX,
                     int32_t nAuxY, bool bAligned)
{
    const int64_t nOldRowBytes = RowBytes(m_eDataType, m_nWidth, m_nPlanes, m_bAligned);
    const int64_t nOldHeight = m_nHeight;
    const bool bOldAligned = m_bAligned;

    m_eDataType = eDataType;
    m_nWidth = nWidth;
    m_nHeight = nHeight;
    m_nPlanes = nPlanes;
    m_nAuxX = nAuxX;
    m_nAuxY = nAuxY;
    m_bAligned = bAligned;
    m_eContent = ContentForPlanes(nPlanes);
    SetRange(eDataType);

    const int64_t nRowBytes = RowBytes(eDataType, nWidth, nPlanes, bAligned);

    // Keep a buffer of the same size, so that a processor running frame after
    // frame allocates only once. Both totals are measured with the alignment
    // flag the image had before this call, so whether a reshape counts as "the
    // same size" does not depend on the flag now asked for. Two guards on top:
    // a shape without a valid area (what a failed Create leaves behind) never
    // claims a buffer, and the new shape must really fit, since its rows
    // measured unaligned can be shorter than the aligned rows it will have.
    if (m_pData && m_pData.use_count() == 1) {
        const int64_t nOldTotal = nOldRowBytes * nOldHeight;
        const int64_t nNewTotalAsBefore = RowBytes(eDataType, nWidth, nPlanes, bOldAligned) * nHeight;
        const bool bBothAreasValid = nOldRowBytes >= 0 && nOldHeight >= 0 && nRowBytes >= 0 && nHeight >= 0;
        // The buffer holds at least the old total in whole 64-bit units.
        const int64_t nCapacity = (nOldTotal + 7) / 8 * 8;
        if (bBothAreasValid && nOldTotal == nNewTotalAsBefore && nRowBytes * nHeight <= nCapacity)
            return;
    }

    // The fields keep the refused shape and the old buffer stays attached.
    if (nHeight < 0 || nRowBytes < 0)
        throw ClException("Image area must be positive", ZRT_ERROR_INTERNAL, true, "Unknown", -1);

    // Release first: the old and the new buffer need not exist side by side.
    m_pData.reset();
    if (nHeight == 0 || nRowBytes == 0)
        return;

    const int64_t nTotal = nRowBytes * nHeight;
    if (nRowBytes >= kBeyond32Bit || nTotal >= kBeyond32Bit) {
        Reset();
        ThrowAllocationFailed();
    }
    try {
        // Left uninitialised: nearly every caller overwrites all samples.
        m_pData.reset(new uint64_t[static_cast<size_t>((nTotal + 7) / 8)]);
    } catch (const std::bad_alloc&) {
        Reset();
        ThrowAllocationFailed();
    }
}

void ClImage::CreateLike(const ClImage& source)
{
    if (&source == this)
        return;
    Create(source.m_eDataType, source.m_nWidth, source.m_nHeight, source.m_nPlanes, source.m_nAuxX, source.m_nAuxY,
           true);
    m_eContent = source.m_eContent;
    m_nAuxTag = source.m_nAuxTag;
    m_dMin = source.m_dMin;
    m_dMax = source.m_dMax;
}

void ClImage::CreateLikeAs(const ClImage& source, EDataType eDataType)
{
    // Reshaping this image would destroy the source it is meant to follow.
    if (&source == this)
        throw ClException("this function dose not work on the same image.", ZRT_ERROR_INVALID_PARAMETER, true,
                          KR9_SITE);
    Create(eDataType, source.m_nWidth, source.m_nHeight, source.m_nPlanes, source.m_nAuxX, source.m_nAuxY, true);
    m_eContent = source.m_eContent;
    m_nAuxTag = source.m_nAuxTag;
}

ClImage& ClImage::operator=(const ClImage& source)
{
    if (&source == this)
        return *this;
    CreateLike(source);

    const int64_t nBytes = ByteCount();
    if (nBytes == 0 || source.Data() == nullptr)
        return *this;
    const int32_t nTargetStride = Stride();
    const int32_t nSourceStride = source.Stride();
    if (nSourceStride == nTargetStride) {
        std::memcpy(Data(), source.Data(), static_cast<size_t>(nBytes));
        return *this;
    }
    // An unaligned source has shorter rows than this aligned copy: move it row
    // by row so that every pixel keeps its place.
    const size_t nRowBytes = static_cast<size_t>(std::min(nSourceStride, nTargetStride));
    for (int32_t y = 0; y < m_nHeight; ++y)
        std::memcpy(Data() + int64_t(y) * nTargetStride, source.Data() + int64_t(y) * nSourceStride, nRowBytes);
    return *this;
}

void ClImage::Swap(ClImage& other)
{
    if (&other == this)
        return;
    std::swap(m_eDataType, other.m_eDataType);
    std::swap(m_eContent, other.m_eContent);
    std::swap(m_nWidth, other.m_nWidth);
    std::swap(m_nHeight, other.m_nHeight);
    std::swap(m_nAuxX, other.m_nAuxX);
    std::swap(m_nAuxY, other.m_nAuxY);
    m_pData.swap(other.m_pData);
    std::swap(m_bAligned, other.m_bAligned);
    std::swap(m_nPlanes, other.m_nPlanes);
    std::swap(m_dMin, other.m_dMin);
    std::swap(m_dMax, other.m_dMax);
    std::swap(m_nAuxTag, other.m_nAuxTag);
}

void ClImage::ShareFrom(const ClImage& source)
{
    if (&source == this)
        return;
    Reset();
    m_eDataType = source.m_eDataType;
    m_eContent = source.m_eContent;
    m_nWidth = source.m_nWidth;
    m_nHeight = source.m_nHeight;
    m_nAuxX = source.m_nAuxX;
    m_nAuxY = source.m_nAuxY;
    m_pData = source.m_pData;
    m_bAligned = source.m_bAligned;
    m_nPlanes = source.m_nPlanes;
    m_dMin = source.m_dMin;
    m_dMax = source.m_dMax;
    m_nAuxTag = source.m_nAuxTag;
}

void ClImage::GetPlane(const ClImage& source, int32_t nPlaneIndex, ClImage& target)
{
    void (*pCopy)(const uint8_t*, int32_t, int32_t, int32_t, uint8_t*, int32_t, int32_t, int32_t) = nullptr;
    switch (source.m_eDataType) {
    case uint8:
    case int8:
        pCopy = CopyPlaneSamples<uint8_t>;
        break;
    case uint16:
    case int16:
        pCopy = CopyPlaneSamples<uint16_t>;
        break;
    case uint32:
    case int32:
    case float32:
        pCopy = CopyPlaneSamples<uint32_t>;
        break;
    case double64:
        pCopy = CopyPlaneSamples<uint64_t>;
        break;
    default:
        // No sample type to copy: the target is left as it was.
        return;
    }
    // A plane that is not there would be read from the neighbouring pixel or
    // beyond the last row.
    if (nPlaneIndex < 0 || nPlaneIndex >= source.m_nPlanes)
        throw ClException("Plane index out of range", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);

    // Taking a plane of an image into itself must not reshape the source
    // before it is read.
    ClImage aSeparate;
    ClImage& aPlane = (&target == &source) ? aSeparate : target;
    aPlane.Create(source.m_eDataType, source.m_nWidth, source.m_nHeight, 1, source.m_nAuxX, source.m_nAuxY, true);
    aPlane.m_nAuxTag = source.m_nAuxTag;
    if (aPlane.ByteCount() > 0 && source.Data() != nullptr)
        pCopy(source.Data(), source.Stride(), source.m_nPlanes, nPlaneIndex, aPlane.Data(), aPlane.Stride(),
              source.m_nWidth, source.m_nHeight);
    if (&aPlane == &aSeparate)
        target.Swap(aSeparate);
}

template <>
ClImage& ClImage::Fill<unsigned char>(unsigned char value)
{
    // A zero byte pattern is a zero of every sample type, so a clear needs no
    // type check; one byte per sample makes any other value one block fill too.
    if (value != 0 && SampleBytes(m_eDataType) != 1)
        throw ClException("Image Type is not the assigned type", ZRT_ERROR_INTERNAL, true, "Unknown", -1);
    const int64_t nBytes = ByteCount();
    if (nBytes > 0)
        std::memset(Data(), value, static_cast<size_t>(nBytes));
    return *this;
}

template <>
ClImage& ClImage::Fill<unsigned short>(unsigned short value)
{
    const int64_t nBytes = ByteCount();
    if (value == 0) {
        if (nBytes > 0)
            std::memset(Data(), 0, static_cast<size_t>(nBytes));
        return *this;
    }
    if (m_eDataType != uint16)
        throw ClException("Image Type is not the assigned type", ZRT_ERROR_INTERNAL, true, "Unknown", -1);
    if (nBytes == 0)
        return *this;
    // Samples only: the padding at the row ends keeps whatever it held. The
    // first row is filled sample by sample and then copied as a block.
    const int64_t nSamplesPerRow = int64_t(m_nWidth) * m_nPlanes;
    const int32_t nStride = Stride();
    uint8_t* pFirstRow = Data();
    std::fill_n(reinterpret_cast<uint16_t*>(pFirstRow), nSamplesPerRow, value);
    for (int32_t y = 1; y < m_nHeight; ++y)
        std::memcpy(pFirstRow + int64_t(y) * nStride, pFirstRow, static_cast<size_t>(nSamplesPerRow * 2));
    return *this;
}

int32_t ClImage::Stride() const
{
    const int64_t nRowBytes = RowBytes(m_eDataType, m_nWidth, m_nPlanes, m_bAligned);
    return static_cast<int32_t>(std::min<int64_t>(nRowBytes, std::numeric_limits<int32_t>::max()));
}

int32_t ClImage::SampleStride() const
{
    const int32_t nSampleBytes = SampleBytes(m_eDataType);
    return nSampleBytes == 0 ? 0 : Stride() / nSampleBytes;
}

int64_t ClImage::ByteCount() const
{
    if (!m_pData)
        return 0;
    const int64_t nRowBytes = RowBytes(m_eDataType, m_nWidth, m_nPlanes, m_bAligned);
    if (nRowBytes <= 0 || m_nHeight <= 0)
        return 0;
    return nRowBytes * m_nHeight;
}
