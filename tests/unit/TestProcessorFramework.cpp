// The processor frame: the run sequence and its hooks, the pixel-type check,
// the 1-to-1 base with a small processor that scales every sample, defaults
// collected through parameters, and descriptors through a stream.
#include <cstdarg>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ImageSamples.h"
#include "imaging/FpImage.h"
#include "params/Ip1to1Base.h"
#include "params/ProcessorBase.h"
#include "params/TypedParameter.h"
#include "support/Stream.h"

namespace {

// Records the steps of its runs and returns the results it is told to.
class ClSequenceProbe : public ClProcessorBase
{
public:
    ClProcessorBase* CreateInstance() const override { return new ClSequenceProbe(); }
    const char* GetClassName() const override { return "ClSequenceProbe"; }
    void GetProcessingInfo(char* pszText, size_t nSize) const override { snprintf(pszText, nSize, "runs=%d", m_nRuns); }
    int32_t Prepare() override { m_strSteps += "P"; return m_nPrepareResult; }
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
    int32_t m_nPrepareResult = 0, m_nProcessResult = 0, m_nFinalizeResult = 0;
    bool m_bThrowInProcess = false;
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
    void SetDefaultParameters() override { m_nFactor = 2; m_dOffset = 0.0; m_nLevel = 100; }
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
    void PrepareOutput(ClImage& out) override { m_preparedTargets.push_back(&out); ClIp1to1Base::PrepareOutput(out); }

    void SetInPlace(bool bInPlace) { m_bInPlace = bInPlace; }
    void SetUseLookUpTable(bool bUse) { m_bUseLookUpTable = bUse; }

    int32_t m_nFactor = 0;
    double m_dOffset = 0.0;
    unsigned char m_nLevel = 0;
    mutable int m_nTransformCalls = 0;
    std::vector<const ClImage*> m_preparedTargets;
};

TEST(ProcessorRun, SequenceStopsAtPrepareAndRaisesAFailedFinalize)
{
    // Results of Prepare, Process and Finalize, whether Process throws, and
    // what the run gives: its result or the code it raises, and its steps.
    struct { int32_t nPrepare, nProcess, nFinalize; bool bThrow; int32_t nResult; const char* pszSteps; } aRuns[] = {
        {0, 0, 0, false, 0, "PWF0"},
        {ZRT_ERROR_PARAM_IS_MISSING, 0, 0, false, ZRT_ERROR_PARAM_IS_MISSING, "P"},
        {0, ZRT_ERROR_INTERNAL, 0, false, ZRT_ERROR_INTERNAL, "PWF-101"},  // a result, not an exception
        {0, 0, 5, false, 5, "PWF0"},                                       // raised
        {0, 0, 0, true, ZRT_ERROR_DEVICE_INTERNAL, "PW"}};                 // passes through, skips Finalize
    for (const auto& run : aRuns) {
        ClSequenceProbe probe;
        std::tie(probe.m_nPrepareResult, probe.m_nProcessResult, probe.m_nFinalizeResult, probe.m_bThrowInProcess) =
            std::make_tuple(run.nPrepare, run.nProcess, run.nFinalize, run.bThrow);
        int32_t nResult = 0;
        const int32_t nRaised = CodeOf([&] { nResult = probe.Run(); }, run.nFinalize != 0 ? "Finalization failed" : "");
        EXPECT_EQ(nRaised != 0 ? nRaised : nResult, run.nResult) << run.pszSteps;
        EXPECT_EQ(probe.m_strSteps, run.pszSteps);
    }
}

TEST(ProcessorRun, ReporterAndStatisticsSeeEveryCompletedRun)
{
    ClRecordingReporter reporter;
    ClProcessingStatistics statistics;
    ClProcessorBase::SetDefaultReporter(&reporter);
    ClProcessorBase::SetStatistics(&statistics);
    {
        ClSequenceProbe probe;
        probe.Run();
        probe.Run();
        probe.m_nPrepareResult = -1;
        probe.Run();  // stopped by Prepare: neither timed nor reported
        EXPECT_EQ(reporter.m_lines, (std::vector<std::string>{"reset 0", "ClSequenceProbe runs=1", "reset 0",
                                                              "ClSequenceProbe runs=2", "reset 0"}));
        ASSERT_EQ(statistics.GetCount(), 1u);
        EXPECT_EQ(*statistics.GetEntry(0).pType, typeid(ClSequenceProbe));
        EXPECT_EQ(statistics.GetEntry(0).nCalls, 2u);
    }
    ClProcessorBase::SetDefaultReporter(nullptr);
    ClProcessorBase::SetStatistics(nullptr);
}

TEST(ProcessorTypeCheck, RefusedTypesNameThemselvesAndCanProcessNeverThrows)
{
    ClIpScaleTest processor;
    EXPECT_EQ(CodeOf([&] { processor.Prepare(); }, "Input image not assigned"), ZRT_ERROR_BAD_POINTER);
    ClImage in, out;
    in.Create(ClImage::default_, 2, 2, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { processor.Run(&in, &out); }, "Input pixel type \"default\" not supported by processor."),
              ZRT_ERROR_FORMAT_NOTSUPPORTED);
    EXPECT_TRUE(processor.m_preparedTargets.empty()) << "refused in Prepare, before any work";

    // The refusal leaves the processor fit for the next run.
    FillImage<uint8_t>(in, ClImage::uint8, 2, {1, 2, 3, 4});
    EXPECT_TRUE(processor.CanProcess());
    EXPECT_EQ(processor.Run(&in, &out), 0);
    EXPECT_EQ(SampleAt<uint8_t>(out, 1, 1), 8);
}

TEST(Ip1to1Base, EightBitImagesGoThroughTheTableAndWrapWithoutClamping)
{
    ClIpScaleTest processor;
    ClImage in, out;
    // Width 3 with two planes: rows of 6 samples padded to 8.
    FillImage<uint8_t>(in, ClImage::uint8, 3, {0, 1, 2, 100, 127, 128, 200, 255, 3, 4, 5, 6}, 2);
    ASSERT_EQ(in.SampleStride(), 8);
    const uint8_t aExpected[] = {0, 2, 4, 200, 254, 0, 144, 254, 6, 8, 10, 12};
    // Through the table, one call per table entry and none per pixel; without
    // it, one call per pixel of the first width samples of each row.
    for (const auto& path : {std::make_pair(true, 256), std::make_pair(false, 6)}) {
        processor.SetUseLookUpTable(path.first);
        processor.m_nTransformCalls = 0;
        EXPECT_EQ(processor.Run(&in, &out), 0);
        EXPECT_EQ(processor.m_nTransformCalls, path.second);
        EXPECT_EQ(std::make_tuple(out.DataType(), out.Width(), out.Planes()), std::make_tuple(ClImage::uint8, 3, 2));
        for (int32_t i = 0; i < 12; ++i)
            EXPECT_TRUE((!path.first && i % 6 >= 3) || SampleAt<uint8_t>(out, i % 6 / 2, i / 6, i % 2) == aExpected[i])
                << i << " by the table " << path.first;
    }
    EXPECT_EQ(SampleAt<uint8_t>(in, 0, 0, 1), 1) << "the input is untouched";
}

// The samples of an image of one row of the given type, run through the processor.
template <typename T>
std::vector<T> Scaled(ClIpScaleTest& processor, ClImage::EDataType eType, const std::vector<T>& values)
{
    ClImage in, out;
    FillImage<T>(in, eType, 1, values);  // one column: every sample in a row of its own
    processor.Run(&in, &out);
    EXPECT_EQ(out.DataType(), eType);
    std::vector<T> result;
    for (int32_t y = 0; y < out.Height(); ++y)
        result.push_back(SampleAt<T>(out, 0, y));
    return result;
}

TEST(Ip1to1Base, EverySampleTypeKeepsItsTypeAndTruncates)
{
    ClIpScaleTest processor;
    // 200 cut to 8 bits; what does not fit an int32 becomes the most negative value.
    EXPECT_EQ(Scaled<int8_t>(processor, ClImage::int8, {100, -3}), (std::vector<int8_t>{-56, -6}));
    EXPECT_EQ(Scaled<int32_t>(processor, ClImage::int32, {-7, 2000000000}), (std::vector<int32_t>{-14, INT32_MIN}));
    processor.m_dOffset = 0.75;
    EXPECT_EQ(Scaled<int16_t>(processor, ClImage::int16, {-3, 3}), (std::vector<int16_t>{-5, 6}))
        << "-5.25 truncates toward zero";

    // A mismatched output is refused, not overrun.
    ClImage small, in;
    FillImage<double>(in, ClImage::double64, 1, {1.0, 2.0});
    small.Create(ClImage::double64, 1, 1, 1, 0, 0, true);
    EXPECT_EQ(processor.ProcessImage(in, small), ZRT_ERROR_INTERNAL);
}

TEST(Ip1to1Base, SameImageOnBothSidesGoesThroughALocalImageUnlessInPlace)
{
    ClIpScaleTest processor;
    processor.SetUseLookUpTable(false);  // the direct loop reads what it has written when in place
    ClImage image, out;
    FillImage<uint8_t>(image, ClImage::uint8, 2, {1, 2, 3, 4});
    EXPECT_EQ(processor.Run(&image, &image), 0);
    ASSERT_EQ(processor.m_preparedTargets.size(), 1u);
    EXPECT_NE(processor.m_preparedTargets[0], &image) << "the result was made in a local image";
    EXPECT_EQ(SampleAt<uint8_t>(image, 1, 1), 8) << "and then copied into the image";

    processor.SetInPlace(true);
    processor.m_preparedTargets.clear();
    EXPECT_EQ(processor.Run(&image, &image), 0);
    EXPECT_TRUE(processor.m_preparedTargets.empty()) << "in place, the image is worked on as it stands";
    EXPECT_EQ(SampleAt<uint8_t>(image, 1, 1), 16);

    // Missing images are reported by the step that needs them.
    processor.SetInImage(nullptr);
    EXPECT_EQ(CodeOf([&] { processor.Process(); }, "m_pInImage is not set"), ZRT_ERROR_BAD_POINTER);
    ClImage empty;
    empty.Create(ClImage::uint8, 0, 4, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { processor.Run(&empty, &out); }, "m_pInImage->Data() is not set"), ZRT_ERROR_BAD_POINTER);
}

TEST(Ip1to1Base, CollectDefaultsLeavesMembersAndStoresDefaults)
{
    ClIpScaleTest processor;
    ClImage image;
    processor.SetInImage(&image);
    processor.m_nFactor = 7;
    ClParameterContainer container;
    processor.CollectDefaults(container);
    EXPECT_TRUE(processor.m_nFactor == 7 && processor.GetInImage() == &image) << "the members keep their values";
    ClParameter* pFactor = container.Find("nFactor");
    ASSERT_NE(pFactor, nullptr);
    char szText[32];
    size_t nSize = sizeof(szText);
    pFactor->GetStoredAsString(szText, &nSize);
    EXPECT_STREQ(szText, "2");

    // Resetting through the parameters brings the defaults into the members.
    pFactor->RestoreStored();
    EXPECT_EQ(processor.m_nFactor, 2);
}

TEST(ParameterDescriptors, WrittenToAStreamAndReadBackEqual)
{
    ClIpScaleTest source;
    source.m_nFactor = 3;
    source.m_dOffset = 1.5;
    source.m_nLevel = 240;
    ClParameterInterface sourceList;
    source.DescribeParameters(sourceList);
    // The automatic range is limited to what the type holds.
    EXPECT_EQ(std::make_pair(sourceList.Find("nLevel")->dMin, sourceList.Find("nLevel")->dMax),
              std::make_pair(160.0, 255.0));

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
    for (auto *pRead = targetList.GetFirst(), *pWritten = sourceList.GetFirst(); pRead != nullptr;
         pRead = pRead->pNext, pWritten = pWritten->pNext) {
        EXPECT_EQ(pRead->Read(stream), 0) << pRead->pszName;
        EXPECT_EQ(std::make_tuple(pRead->dMin, pRead->dMax, pRead->dDefault, pRead->bAttribute1, pRead->bAttribute2),
                  std::make_tuple(pWritten->dMin, pWritten->dMax, pWritten->dDefault, pWritten->bAttribute1,
                                  pWritten->bAttribute2))
            << pRead->pszName;
    }
    EXPECT_EQ(stream.GetPosition(), stream.GetLength());
    EXPECT_EQ(std::make_tuple(target.m_nFactor, target.m_dOffset, target.m_nLevel), std::make_tuple(3, 1.5, 240))
        << "the values reach the members";

    // A descriptor of another name refuses the record and stands behind its
    // name; a stream that ends early is reported.
    ASSERT_EQ(stream.Seek(0, 0), 0);
    EXPECT_EQ(targetList.Find("nFactor")->Read(stream), ZRT_ERROR_FORMAT_NOTSUPPORTED);
    EXPECT_EQ(stream.GetPosition(), 12u);
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
