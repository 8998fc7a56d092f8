// ClImage: the one pixel container of the SDK. Capture, every processor, the
// histogram and the hand-over buffers exchange these objects.
//
// An image is a raster of interleaved samples of one sample type. The buffer
// is shared through an atomic reference count, so that a result can be handed
// on without copying (ShareFrom, Swap), and Create keeps the buffer when the
// size does not change, because it runs for every intermediate image of every
// frame.
#pragma once

#include <cstdint>
#include <type_traits>

#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/shared_array.hpp>

class ClImage : private boost::noncopyable
{
public:
    // The value describes itself: the low 5 bits are the sample size in bytes,
    // bit 7 marks signed and floating types, bit 6 floating ones.
    enum EDataType : uint8_t {
        unknown = 0,
        uint8 = 1,
        uint16 = 2,
        uint32 = 4,
        int8 = 129,
        int16 = 130,
        int32 = 132,
        float32 = 196,
        double64 = 200,
        // Never the type of an image: an output-type setting holding it means
        // "the type of the input". (The plain word is a keyword.)
        default_ = 255
    };

    enum EContent : int32_t {
        eUnknown = 0,
        eGrayscale = 1,
        eRGB = 2,
        eRGBA = 3,
        eHSV = 4,
        eXYZ = 5,
        eCIELab = 6,
        eCIELUV = 7
    };

    static int32_t SampleBytes(EDataType eDataType) { return eDataType & 31; }
    static bool IsSignedType(EDataType eDataType) { return eDataType >= 128; }

    ClImage();
    // An aligned uint8 image of the given size.
    ClImage(int32_t nWidth, int32_t nHeight, int32_t nPlanes = 1, int32_t nAuxX = 0, int32_t nAuxY = 0);
    virtual ~ClImage();

    // Shapes the image. The buffer is kept, samples and all, when this image is
    // its only owner and the byte size stays the same; otherwise a new,
    // uninitialised buffer is allocated (none for an image without area).
    void Create(EDataType eDataType, int32_t nWidth, int32_t nHeight, int32_t nPlanes, int32_t nAuxX, int32_t nAuxY,
                bool bAligned);
    void Reset();
    // Sets Min() and Max() to the range the sample type allows; NaN for no type.
    void SetRange(EDataType eDataType);
    // Sets Min() and Max() to a range of the caller's, as a subtraction with
    // bounds of its own does for its output.
    void SetValueRange(double dMin, double dMax)
    {
        m_dMin = dMin;
        m_dMax = dMax;
    }
    // Says what the planes mean where the plane count alone does not (a
    // 3-plane HSV image rather than RGB).
    void SetContent(EContent eContent) { m_eContent = eContent; }
    // Carries a tag over to an image made by another route than CreateLike.
    void SetAuxTag(int32_t nAuxTag) { m_nAuxTag = nAuxTag; }

    // Same type, geometry and carried values, aligned; samples are not copied.
    void CreateLike(const ClImage& source);
    // As CreateLike with another sample type. The source must be another image.
    void CreateLikeAs(const ClImage& source, EDataType eDataType);
    // CreateLike plus a copy of the samples.
    ClImage& operator=(const ClImage& source);
    void Swap(ClImage& other);
    // Becomes a second owner of the source's buffer: both images alias their samples.
    void ShareFrom(const ClImage& source);
    // target becomes a one-plane image holding plane nPlaneIndex of source.
    static void GetPlane(const ClImage& source, int32_t nPlaneIndex, ClImage& target);

    // Sets every sample to value. A zero clears any image; otherwise the
    // sample type must match T. Exists for unsigned char and unsigned short.
    template <typename T>
    ClImage& Fill(T)
    {
        static_assert(!std::is_same<T, T>::value, "Fill exists for unsigned char and unsigned short only");
        return *this;
    }

    uint8_t* Data() { return reinterpret_cast<uint8_t*>(m_pData.get()); }
    const uint8_t* Data() const { return reinterpret_cast<const uint8_t*>(m_pData.get()); }
    int32_t Width() const { return m_nWidth; }
    int32_t Height() const { return m_nHeight; }
    int32_t Planes() const { return m_nPlanes; }
    EDataType DataType() const { return m_eDataType; }
    EContent Content() const { return m_eContent; }
    double Min() const { return m_dMin; }
    double Max() const { return m_dMax; }
    int32_t AuxX() const { return m_nAuxX; }
    int32_t AuxY() const { return m_nAuxY; }
    int32_t AuxTag() const { return m_nAuxTag; }
    bool IsAligned() const { return m_bAligned; }
    // Bytes from one row to the next: sample bytes * width * planes, rounded
    // up to a multiple of 4 for an aligned image.
    int32_t Stride() const;
    // The same distance counted in samples; 0 for an image without sample type.
    int32_t SampleStride() const;

private:
    // Bytes the samples occupy, padding included; 0 when the shape describes no area.
    int64_t ByteCount() const;

    EDataType m_eDataType;
    EContent m_eContent;
    int32_t m_nWidth;
    int32_t m_nHeight;
    int32_t m_nAuxX;
    int32_t m_nAuxY;
    // 64-bit units, so that every sample type is naturally aligned in it.
    boost::shared_array<uint64_t> m_pData;
    bool m_bAligned;
    int32_t m_nPlanes;
    double m_dMin;
    double m_dMax;
    int32_t m_nAuxTag;
};

template <>
ClImage& ClImage::Fill<unsigned char>(unsigned char value);
template <>
ClImage& ClImage::Fill<unsigned short>(unsigned short value);
