// The processor frame: the run sequence and its hooks, the pixel-type check,
// the 1-to-1 base with a small processor that scales every sample, defaults
// collected through parameters, and descriptors through a stream.
#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ExceptionCode.h"
#include "Exception.h"
#include "imaging/FpImage.h"
#include "params/Ip1to1Base.h"
#include "params/ProcessorBase.h"
#include "params/TypedParameter.h"
#include "support/Stream.h"

namespace {

bool Contains(const std::string& strText, const char* pszPart)
{
    return strText.find(pszPart) != std::string::npos;
}

// Records the steps of its runs and returns the results it is told to.
class ClSequenceProbe : public ClProcessorBase
{
public:
    ClProcessorBase* CreateInstance() const override { return new ClSequenceProbe(); }
    const char* GetClassName() const override { return "ClSequenceProbe"; }
    void GetProcessingInfo(char* pszText, size_t nSize) const override
    {
        snprintf(pszText, nSize, "runs=%d", m_nRuns);
    }
    int32_t Prepare() override
    {
        m_strSteps += "P";
        return m_nPrepareResult;
    }
    int32_t Process() override
    {
        m_strSteps += "W";
        ++m_nRuns;
        if (m_bThrowInProcess)
            throw ClExQuorvane(ZRT_ERROR_DEVICE_INTERNAL, KR9_SITE);
        return m_nProcessResult;
    }
    int32_t Finalize(int32_t nStatus) override
    {
        m_strSteps += "F" + std::to_string(nStatus);
        return m_nFinalizeResult;
    }

    std::string m_strSteps;
    int m_nRuns = 0;
    int32_t m_nPrepareResult = 0;
    int32_t m_nProcessResult = 0;
    int32_t m_nFinalizeResult = 0;
    bool m_bThrowInProcess = false;
};

// Another class, for the statistics.
class ClOtherProbe : public ClSequenceProbe
{
public:
    const char* GetClassName() const override { return "ClOtherProbe"; }
};

class ClRecordingReporter : public ClProcessingReporter
{
public:
    void Reset(int nLevel) override { m_lines.push_back("reset " + std::to_string(nLevel)); }
    void Print(const char* pszFormat, ...) override
    {
        char szLine[600];
        va_list args;
        va_start(args, pszFormat);
        vsnprintf(szLine, sizeof(szLine), pszFormat, args);
        va_end(args);
        m_lines.push_back(szLine);
    }
    std::vector<std::string> m_lines;
};

// Multiplies every sample by a factor and adds an offset.
class ClIpScaleTest : public NewIpBase::ClIp1to1Base
{
public:
    ClIpScaleTest()
    {
        const ClImage::EDataType aTypes[] = {ClImage::uint8,  ClImage::int8,  ClImage::uint16,  ClImage::int16,
                                             ClImage::uint32, ClImage::int32, ClImage::float32, ClImage::double64};
        AddSupportedTypes(aTypes, sizeof(aTypes) / sizeof(aTypes[0]));
        SetDefaultParameters();
    }

    ClProcessorBase* CreateInstance() const override { return new ClIpScaleTest(); }
    const char* GetClassName() const override { return "ClIpScaleTest"; }
    void SetDefaultParameters() override
    {
        m_nFactor = 2;
        m_dOffset = 0.0;
        m_nLevel = 100;
    }
    void RegisterParameters(ClParameterContainer& container) override
    {
        ClIp1to1Base::RegisterParameters(container);
        container.CreateParameter<TpParameterNumeric<int>>("nFactor")->Bind(&m_nFactor, kParameterIn);
        container.CreateParameter<TpParameterNumeric<double>>("dOffset")->Bind(&m_dOffset, kParameterIn);
    }
    void DescribeParameters(ClParameterInterface& list) override
    {
        ClIp1to1Base::DescribeParameters(list);
        list.AddInt32(&m_nFactor, "nFactor", "factor of every sample", ClParameterInterface::eDirectionIn, 0.0, 16.0);
        list.AddDouble(&m_dOffset, "dOffset", "added after the factor", ClParameterInterface::eDirectionIn, 1.0,
                       -1.0);
        list.AddUInt8(&m_nLevel, "nLevel", "a level", ClParameterInterface::eDirectionIn, 1.0, -1.0);
    }
    double TransformPixel(const ClImage& /*in*/, const ClImage& /*out*/, double dValue) const override
    {
        ++m_nTransformCalls;
        return dValue * m_nFactor + m_dOffset;
    }
    void PrepareOutput(ClImage& out) override
    {
        m_preparedTargets.push_back(&out);
        ClIp1to1Base::PrepareOutput(out);
    }

    void SetInPlace(bool bInPlace) { m_bInPlace = bInPlace; }
    void SetUseLookUpTable(bool bUse) { m_bUseLookUpTable = bUse; }

    int32_t m_nFactor = 0;
    double m_dOffset = 0.0;
    unsigned char m_nLevel = 0;
    mutable int m_nTransformCalls = 0;
    std::vector<const ClImage*> m_preparedTargets;
};

// An image of one plane whose samples are the given values, row by row.
template <typename TSample>
void FillImage(ClImage& image, ClImage::EDataType eType, int32_t nWidth, const std::vector<TSample>& values,
               int32_t nPlanes = 1)
{
    const int32_t nHeight = static_cast<int32_t>(values.size()) / (nWidth * nPlanes);
    image.Create(eType, nWidth, nHeight, nPlanes, 0, 0, true);
    for (int32_t y = 0; y < nHeight; ++y) {
        TSample* pRow = reinterpret_cast<TSample*>(image.Data()) + static_cast<size_t>(y) * image.SampleStride();
        for (int32_t x = 0; x < nWidth * nPlanes; ++x)
            pRow[x] = values[static_cast<size_t>(y * nWidth * nPlanes + x)];
    }
}

template <typename TSample>
TSample SampleAt(const ClImage& image, int32_t x, int32_t y)
{
    return reinterpret_cast<const TSample*>(image.Data())[static_cast<size_t>(y) * image.SampleStride() + x];
}

TEST(ProcessorRun, SequenceStopsAtPrepareAndRaisesAFailedFinalize)
{
    ClSequenceProbe probe;
    EXPECT_EQ(probe.Run(), 0);
    EXPECT_EQ(probe.m_strSteps, "PWF0");

    probe.m_strSteps.clear();
    probe.m_nPrepareResult = ZRT_ERROR_PARAM_IS_MISSING;
    EXPECT_EQ(probe.Run(), ZRT_ERROR_PARAM_IS_MISSING);
    EXPECT_EQ(probe.m_strSteps, "P") << "neither Process nor Finalize after a failed Prepare";

    probe.m_strSteps.clear();
    probe.m_nPrepareResult = 0;
    probe.m_nProcessResult = ZRT_ERROR_INTERNAL;
    EXPECT_EQ(probe.Run(), ZRT_ERROR_INTERNAL) << "a failed Process is a result, not an exception";
    EXPECT_EQ(probe.m_strSteps, "PWF-101");

    probe.m_nProcessResult = 0;
    probe.m_nFinalizeResult = 5;
    std::string strText;
    EXPECT_EQ(CodeOf([&] { probe.Run(); }, &strText), 5);
    EXPECT_TRUE(Contains(strText, "Finalization failed"));

    probe.m_strSteps.clear();
    probe.m_nFinalizeResult = 0;
    probe.m_bThrowInProcess = true;
    EXPECT_EQ(CodeOf([&] { probe.Run(); }), ZRT_ERROR_DEVICE_INTERNAL);
    EXPECT_EQ(probe.m_strSteps, "PW") << "an exception passes through and skips Finalize";

    EXPECT_FALSE(probe.CanProcess()) << "the base cannot tell, so it says no";
    char szInfo[4];
    EXPECT_EQ(CodeOf([&] { probe.ClProcessorBase::GetProcessingInfo(szInfo, 0); }, &strText), ZRT_ERROR_INTERNAL);
    EXPECT_TRUE(Contains(strText, "Unexpected zero-length string"));
}

TEST(ProcessorRun, ReporterAndStatisticsSeeEveryCompletedRun)
{
    ClSequenceProbe dormant;
    EXPECT_FALSE(dormant.IsReportEnabled()) << "no reporter unless a host installs one";

    ClRecordingReporter reporter;
    ClProcessingStatistics statistics;
    ClProcessorBase::SetDefaultReporter(&reporter);
    ClProcessorBase::SetStatistics(&statistics);
    {
        ClSequenceProbe probe;
        ClOtherProbe other;
        EXPECT_TRUE(probe.IsReportEnabled());
        probe.Run();
        probe.Run();
        other.Run();
        other.m_nPrepareResult = -1;
        other.Run();  // stopped by Prepare: neither timed nor reported

        EXPECT_EQ(reporter.m_lines, (std::vector<std::string>{"reset 0", "ClSequenceProbe runs=1", "reset 0",
                                                              "ClSequenceProbe runs=2", "reset 0",
                                                              "ClOtherProbe runs=1", "reset 0"}));
        ASSERT_EQ(statistics.GetCount(), 2u);
        EXPECT_EQ(*statistics.GetEntry(0).pType, typeid(ClSequenceProbe));
        EXPECT_EQ(statistics.GetEntry(0).nCalls, 2u);
        EXPECT_GE(statistics.GetEntry(0).dTotalSeconds, 0.0);
        EXPECT_EQ(*statistics.GetEntry(1).pType, typeid(ClOtherProbe));
        EXPECT_EQ(statistics.GetEntry(1).nCalls, 1u);

        probe.EnableReport(false);
        reporter.m_lines.clear();
        probe.Run();
        EXPECT_TRUE(reporter.m_lines.empty());
        dormant.EnableReport(true);
        EXPECT_TRUE(dormant.IsReportEnabled());
    }
    ClProcessorBase::SetDefaultReporter(nullptr);
    ClProcessorBase::SetStatistics(nullptr);
}

TEST(ProcessorTypeCheck, RefusedTypesNameThemselvesAndCanProcessNeverThrows)
{
    ClIpScaleTest processor;
    EXPECT_FALSE(processor.CanProcess()) << "no input image";
    std::string strText;
    EXPECT_EQ(CodeOf([&] { processor.Prepare(); }, &strText), ZRT_ERROR_BAD_POINTER);
    EXPECT_TRUE(Contains(strText, "Input image not assigned"));

    ClImage in;
    ClImage out;
    in.Create(ClImage::default_, 2, 2, 1, 0, 0, true);
    processor.SetInImage(&in);
    EXPECT_FALSE(processor.CanProcess());
    EXPECT_EQ(CodeOf([&] { processor.Run(&in, &out); }, &strText), ZRT_ERROR_FORMAT_NOTSUPPORTED);
    EXPECT_TRUE(Contains(strText, "Input pixel type \"default\" not supported by processor."));
    EXPECT_TRUE(processor.m_preparedTargets.empty()) << "refused in Prepare, before any work";

    EXPECT_STREQ(NewIpBase::ClImageDataTypeCheck::GetDataTypeName(static_cast<ClImage::EDataType>(3)), "not valid");

    // The refusal leaves the processor fit for the next run.
    FillImage<uint8_t>(in, ClImage::uint8, 2, {1, 2, 3, 4});
    EXPECT_TRUE(processor.CanProcess());
    EXPECT_EQ(processor.Run(&in, &out), 0);
    EXPECT_EQ(SampleAt<uint8_t>(out, 1, 1), 8);
}

TEST(Ip1to1Base, EightBitImagesGoThroughTheTableAndWrapWithoutClamping)
{
    ClIpScaleTest processor;
    ClImage in;
    ClImage out;
    // Width 3 with two planes: rows of 6 samples padded to 8.
    FillImage<uint8_t>(in, ClImage::uint8, 3, {0, 1, 2, 100, 127, 128, 200, 255, 3, 4, 5, 6}, 2);
    ASSERT_EQ(in.SampleStride(), 8);
    EXPECT_EQ(processor.Run(&in, &out), 0);
    EXPECT_EQ(processor.m_nTransformCalls, 256) << "one call per table entry, none per pixel";
    EXPECT_EQ(out.DataType(), ClImage::uint8);
    EXPECT_EQ(out.Width(), 3);
    EXPECT_EQ(out.Planes(), 2);
    const uint8_t aExpected[] = {0, 2, 4, 200, 254, 0, 144, 254, 6, 8, 10, 12};
    for (int32_t i = 0; i < 12; ++i)
        EXPECT_EQ(SampleAt<uint8_t>(out, i % 6, i / 6), aExpected[i]) << i;
    EXPECT_EQ(SampleAt<uint8_t>(in, 1, 0), 1) << "the input is untouched";

    // Without the table, one call per pixel of the first width samples of each row.
    processor.SetUseLookUpTable(false);
    processor.m_nTransformCalls = 0;
    EXPECT_EQ(processor.Run(&in, &out), 0);
    EXPECT_EQ(processor.m_nTransformCalls, 6);
    for (int32_t x = 0; x < 3; ++x) {
        EXPECT_EQ(SampleAt<uint8_t>(out, x, 0), aExpected[x]);
        EXPECT_EQ(SampleAt<uint8_t>(out, x, 1), aExpected[6 + x]);
    }
}

TEST(Ip1to1Base, EverySampleTypeKeepsItsTypeAndTruncates)
{
    ClIpScaleTest processor;
    ClImage in;
    ClImage out;

    FillImage<int8_t>(in, ClImage::int8, 3, {100, -3, 1});
    processor.Run(&in, &out);
    EXPECT_EQ(out.DataType(), ClImage::int8);
    EXPECT_EQ(SampleAt<int8_t>(out, 0, 0), -56) << "200 cut to 8 bits";

    processor.m_dOffset = 0.75;
    FillImage<int16_t>(in, ClImage::int16, 2, {-3, 3});
    processor.Run(&in, &out);
    EXPECT_EQ(SampleAt<int16_t>(out, 0, 0), -5) << "-5.25 truncates toward zero";
    EXPECT_EQ(SampleAt<int16_t>(out, 1, 0), 6);

    processor.m_dOffset = 0.0;
    FillImage<uint32_t>(in, ClImage::uint32, 1, {3000000000u});
    processor.Run(&in, &out);
    EXPECT_EQ(SampleAt<uint32_t>(out, 0, 0), static_cast<uint32_t>(6000000000ull & 0xFFFFFFFFu));

    FillImage<int32_t>(in, ClImage::int32, 2, {-7, 2000000000});
    processor.Run(&in, &out);
    EXPECT_EQ(SampleAt<int32_t>(out, 0, 0), -14);
    EXPECT_EQ(SampleAt<int32_t>(out, 1, 0), INT32_MIN) << "what does not fit becomes the most negative value";

    FillImage<float>(in, ClImage::float32, 1, {-0.25f});
    processor.Run(&in, &out);
    EXPECT_EQ(SampleAt<float>(out, 0, 0), -0.5f);

    FillImage<double>(in, ClImage::double64, 1, {0.1, -2.0});
    processor.Run(&in, &out);
    EXPECT_EQ(SampleAt<double>(out, 0, 1), -4.0) << "rows follow the stride";

    // The dispatch knows eight types only; a mismatched output is refused, not overrun.
    ClImage odd;
    odd.Create(ClImage::default_, 1, 1, 1, 0, 0, true);
    ClImage oddOut;
    oddOut.Create(ClImage::default_, 1, 1, 1, 0, 0, true);
    EXPECT_EQ(processor.ProcessImage(odd, oddOut), ZRT_ERROR_INTERNAL);
    ClImage small;
    small.Create(ClImage::double64, 1, 1, 1, 0, 0, true);
    EXPECT_EQ(processor.ProcessImage(in, small), ZRT_ERROR_INTERNAL);
}

TEST(Ip1to1Base, SameImageOnBothSidesGoesThroughALocalImageUnlessInPlace)
{
    ClIpScaleTest processor;
    processor.SetUseLookUpTable(false);  // the direct loop reads what it has written when in place
    ClImage image;
    FillImage<uint8_t>(image, ClImage::uint8, 2, {1, 2, 3, 4});

    EXPECT_EQ(processor.Run(&image, &image), 0);
    ASSERT_EQ(processor.m_preparedTargets.size(), 1u);
    EXPECT_NE(processor.m_preparedTargets[0], &image) << "the result was made in a local image";
    EXPECT_EQ(SampleAt<uint8_t>(image, 0, 0), 2);
    EXPECT_EQ(SampleAt<uint8_t>(image, 1, 1), 8) << "and then copied into the image";

    processor.SetInPlace(true);
    processor.m_preparedTargets.clear();
    EXPECT_EQ(processor.Run(&image, &image), 0);
    EXPECT_TRUE(processor.m_preparedTargets.empty()) << "in place, the image is worked on as it stands";
    EXPECT_EQ(SampleAt<uint8_t>(image, 1, 1), 16);

    ClImage out;
    EXPECT_EQ(processor.Run(&image, &out), 0);
    ASSERT_EQ(processor.m_preparedTargets.size(), 1u);
    EXPECT_EQ(processor.m_preparedTargets[0], &out);
    EXPECT_EQ(SampleAt<uint8_t>(out, 1, 1), 32);

    // Missing images are reported by the step that needs them.
    std::string strText;
    processor.SetInImage(nullptr);
    EXPECT_EQ(CodeOf([&] { processor.Process(); }, &strText), ZRT_ERROR_BAD_POINTER);
    EXPECT_TRUE(Contains(strText, "m_pInImage is not set"));
    processor.SetInImage(&image);
    processor.SetOutImage(nullptr);
    EXPECT_EQ(CodeOf([&] { processor.Process(); }, &strText), ZRT_ERROR_BAD_POINTER);
    EXPECT_TRUE(Contains(strText, "m_pOutImage is not set"));
    ClImage empty;
    empty.Create(ClImage::uint8, 0, 4, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { processor.Run(&empty, &out); }, &strText), ZRT_ERROR_BAD_POINTER);
    EXPECT_TRUE(Contains(strText, "m_pInImage->Data() is not set"));
}

TEST(Ip1to1Base, CollectDefaultsLeavesMembersAndStoresDefaults)
{
    ClIpScaleTest processor;
    ClImage image;
    processor.SetInImage(&image);
    processor.m_nFactor = 7;
    processor.m_dOffset = 1.25;

    ClParameterContainer container;
    processor.CollectDefaults(container);
    EXPECT_EQ(processor.m_nFactor, 7) << "the members keep their values";
    EXPECT_EQ(processor.m_dOffset, 1.25);
    EXPECT_EQ(processor.GetInImage(), &image);

    char szText[32];
    size_t nSize = sizeof(szText);
    ASSERT_NE(container.Find("nFactor"), nullptr);
    container.Find("nFactor")->GetStoredAsString(szText, &nSize);
    EXPECT_STREQ(szText, "2");
    EXPECT_FALSE(container.IsStoredEqual());
    EXPECT_FALSE(container.Find("pInImage")->IsEnum());
    EXPECT_TRUE(container.Find("pInImage")->IsPointer());
    EXPECT_EQ(container.Find("pOutImage")->GetFlags(), kParameterOut);

    // Resetting through the parameters brings the defaults into the members.
    container.Find("nFactor")->RestoreStored();
    EXPECT_EQ(processor.m_nFactor, 2);
    container.Find("dOffset")->SetFromString("0.5");
    EXPECT_EQ(processor.m_dOffset, 0.5);
    nSize = sizeof(szText);
    processor.SetOutImage(nullptr);
    container.Find("pOutImage")->GetAsString(szText, &nSize);
    EXPECT_STREQ(szText, "NULL");

}

TEST(ParameterDescriptors, WrittenToAStreamAndReadBackEqual)
{
    ClIpScaleTest source;
    source.m_nFactor = 3;
    source.m_dOffset = 1.5;
    source.m_nLevel = 240;
    ClParameterInterface sourceList;
    source.DescribeParameters(sourceList);
    ASSERT_EQ(sourceList.GetCount(), 5u);

    const ClParameterInterface::ClParameter* pIn = sourceList.Find("inimage");
    ASSERT_EQ(pIn, sourceList.GetFirst());
    EXPECT_STREQ(pIn->pszDescription, "In: Original Image");
    EXPECT_EQ(pIn->nType, 7u);
    EXPECT_EQ(pIn->nDirection, 0u);
    EXPECT_EQ(pIn->nFixed, 1u);
    EXPECT_EQ(sourceList.Find("OutImage")->nDirection, 1u);
    const ClParameterInterface::ClParameter* pOffset = sourceList.Find("dOffset");
    EXPECT_DOUBLE_EQ(pOffset->dMin, 1.0) << "the automatic range, 2v/3 to 4v/3";
    EXPECT_DOUBLE_EQ(pOffset->dMax, 2.0);
    const ClParameterInterface::ClParameter* pLevel = sourceList.Find("nLevel");
    EXPECT_DOUBLE_EQ(pLevel->dMin, 160.0);
    EXPECT_DOUBLE_EQ(pLevel->dMax, 255.0) << "limited to what a byte holds";
    EXPECT_EQ(sourceList.Find("nFactor")->dDefault, 3.0);

    ClMemStream stream;
    for (const auto* pDescriptor = sourceList.GetFirst(); pDescriptor != nullptr; pDescriptor = pDescriptor->pNext)
        pDescriptor->Write(stream);
    // The first descriptor as it stands in the stream, big-endian.
    const uint8_t aHead[] = {0, 0, 0, 8, 'I', 'n', 'I', 'm', 'a', 'g', 'e', 0, 0, 1, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0};
    ASSERT_GE(stream.GetLength(), sizeof(aHead));
    EXPECT_EQ(memcmp(stream.GetData(), aHead, sizeof(aHead)), 0);

    ClIpScaleTest target;
    ClParameterInterface targetList;
    target.DescribeParameters(targetList);
    ASSERT_EQ(stream.Seek(0, 0), 0);
    for (auto* pDescriptor = targetList.GetFirst(); pDescriptor != nullptr; pDescriptor = pDescriptor->pNext)
        EXPECT_EQ(pDescriptor->Read(stream), 0) << pDescriptor->pszName;
    EXPECT_EQ(stream.GetPosition(), stream.GetLength());
    for (auto* pRead = targetList.GetFirst(), *pWritten = sourceList.GetFirst(); pRead != nullptr;
         pRead = pRead->pNext, pWritten = pWritten->pNext) {
        EXPECT_EQ(pRead->dMin, pWritten->dMin) << pRead->pszName;
        EXPECT_EQ(pRead->dMax, pWritten->dMax) << pRead->pszName;
        EXPECT_EQ(pRead->dDefault, pWritten->dDefault) << pRead->pszName;
        EXPECT_EQ(pRead->bAttribute1, pWritten->bAttribute1);
        EXPECT_EQ(pRead->bAttribute2, pWritten->bAttribute2);
    }
    EXPECT_EQ(target.m_nFactor, 3) << "the values reach the members";
    EXPECT_EQ(target.m_dOffset, 1.5);
    EXPECT_EQ(target.m_nLevel, 240);

    // A descriptor of another name refuses the record and stands behind its name.
    ASSERT_EQ(stream.Seek(0, 0), 0);
    EXPECT_EQ(targetList.Find("nFactor")->Read(stream), ZRT_ERROR_FORMAT_NOTSUPPORTED);
    EXPECT_EQ(stream.GetPosition(), 12u);

    // A stream that ends early is reported.
    ClMemStream cut(stream.GetData(), 30, false);
    EXPECT_EQ(targetList.GetFirst()->Read(cut), ZRT_ERROR_UNEXPECTED_EOF);
}

TEST(ParameterDescriptors, TheTwoByteKindIsReadWithFourBytes)
{
    uint16_t nValue = 0x1234;
    ClParameterInterface::ClParameter descriptor;
    descriptor.SetName("w");
    descriptor.nType = 1;
    descriptor.pValue = &nValue;
    ClMemStream stream;
    descriptor.Write(stream);
    const uint64_t nWritten = stream.GetLength();
    stream.Write(static_cast<uint16_t>(0x5678));  // whatever follows in the stream
    ASSERT_EQ(stream.Seek(0, 0), 0);
    nValue = 0;
    EXPECT_EQ(descriptor.Read(stream), 0);
    EXPECT_EQ(stream.GetPosition(), nWritten + 2) << "two bytes more than were written";
    EXPECT_EQ(nValue, 0x5678) << "the member keeps only two of the four bytes";
}

}  // namespace
