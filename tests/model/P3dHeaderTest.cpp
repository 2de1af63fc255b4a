#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>

#include "archivefile/foundation/VexFileIO.h"
#include "archivefile/foundation/GenericError.h"
#include "tests/model/ModelTestSupport.h"

using namespace archivefile;
using archivefile::bench::MlodBytes;
using archivefile::testing::ModelTest;
using archivefile::testing::TempFolder;

namespace {

struct KindRow {
    std::int32_t version;
    const char* typeText;
    int family;
    bool kern;
};

// Every binarised version that is accepted, with its type text and family.
const KindRow binarisedKinds[] = {
    {7, "ODOL7 nLods=2\r\n", 3, false},
    {40, "ODOL40 (kern) nLods=2\r\n", 4, true},
    {43, "ODOL43 (kern2a) nLods=2\r\n", 4, true},
    {47, "ODOL47 (kern2b) nLods=2\r\n", 5, true},
    {48, "ODOL48 (kern2c) nLods=2\r\n", 5, true},
    {49, "ODOL49 (qe) nLods=2\r\n", 5, true},
    {50, "ODOL50 (qe dlc) nLods=2\r\n", 5, true},
    {52, "ODOL52 (hkx) nLods=2\r\n", 5, true},
    {56, "ODOL56 (Kern3) nLods=2\r\n", 5, true},
    {58, "ODOL58 (Kern3) nLods=2\r\n", 5, true},
    {10043, "ODOLTRX2 nLods=2\r\n", 4, true},
};

// Reads a header alone from `bytes` through a stream, as the handler's first step does.
bool readHeader(P3dHeader& header, const std::string& bytes) {
    VexFileIO stream;
    stream.OpenPseudoFile(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return header.ReadHeader(&stream);
}

}  // namespace

class P3dHeaderKinds : public ModelTest {};

TEST_F(P3dHeaderKinds, EveryBinarisedVersionIsKnownWithItsTextAndFamily) {
    for (const KindRow& row : binarisedKinds) {
        ASSERT_EQ(openBytes(odol(row.version, 2, floats({1.0f, 2.0f}))), 0) << row.version;
        EXPECT_EQ(lines, row.typeText);
        EXPECT_EQ(model.GetType(), row.version);
        EXPECT_EQ(model.GetLodCount(), 2u);
        EXPECT_EQ(model.GetP3DFamily(P3dHeader::OwnKind), row.family);
        EXPECT_TRUE(model.IsOdol(P3dHeader::OwnKind));
        EXPECT_EQ(model.IsKernOdol(P3dHeader::OwnKind), row.kern);
        EXPECT_FALSE(model.IsMlod());
        EXPECT_TRUE(model.IsOdol());
    }
}

TEST_F(P3dHeaderKinds, OtherVersionsAndSignaturesAreBadHeadersAndShortFilesEndEarly) {
    for (const std::int32_t version : {0, 6, 8, 39, 41, 57, 59, 10042, 10044}) {
        EXPECT_EQ(openBytes(odol(version, 1, floats({1.0f}))), P3dFile::BadHeader) << version;
        EXPECT_EQ(lines, "");
    }
    EXPECT_STREQ(model.ErrorString(P3dFile::BadHeader), "P3D: bad header");
    EXPECT_EQ(openBytes("ODOX" + odol(7, 1).substr(4)), P3dFile::BadHeader);
    EXPECT_EQ(openBytes("OD"), GE_PrematureEof);
    EXPECT_EQ(openBytes("ODOL\x07\x00"), GE_PrematureEof);
}

TEST_F(P3dHeaderKinds, EditableSignatureIgnoresCaseAndOnlyVersion257IsAccepted) {
    std::string lowerCase = MlodBytes::model({MlodBytes::box(1.0f, 1.0f, "", "")});
    lowerCase.replace(0, 4, "mlod");
    ASSERT_EQ(openBytes(lowerCase), 0);
    EXPECT_EQ(lines, "MLOD nLods=1\r\n");
    EXPECT_TRUE(model.IsMlod());
    EXPECT_TRUE(model.UnBinarised());
    EXPECT_EQ(model.GetP3DFamily(P3dHeader::OwnKind), 0);

    for (const std::int32_t version : {256, 258}) {
        std::string other = MlodBytes::model({MlodBytes::box(1.0f, 1.0f, "", "")});
        other[4] = static_cast<char>(version & 0xFF);
        other[5] = static_cast<char>(version >> 8);
        EXPECT_EQ(openBytes(other), P3dFile::BadHeader) << version;
    }
}

TEST_F(P3dHeaderKinds, TypeTextOfEditableKindsBesideZeroAndOfUnknownKinds) {
    P3dHeader header;
    // Kinds 1 and 2 are never read; written, they become editable headers.
    const std::string path = folder / "kind1.p3d";
    VexFileIO out;
    ASSERT_TRUE(out.CreateFileA(path.c_str()));
    ASSERT_TRUE(header.WriteHeader(&out, 1));
    ASSERT_TRUE(header.WriteHeader(&out, 7));
    out.CloseOutput();
    EXPECT_EQ(TempFolder::read(path), std::string("MLOD\x01\x01\0\0\0\0\0\0ODOL\x07\0\0\0\0\0\0\0", 24));

    GenString text("left over");
    ASSERT_FALSE(readHeader(model, odol(41, 3)));
    EXPECT_STREQ(model.GetTypeStr(&text), "");
    EXPECT_EQ(text.GetName(), nullptr);
}

TEST_F(P3dHeaderKinds, DemonstrationFormsHaveOneLodAndTheirResidueIsSuccess) {
    ASSERT_EQ(openBytes("SP3X anything at all follows"), 0);
    EXPECT_EQ(lines, "TGR DEMO SP3X\r\n");
    EXPECT_EQ(model.GetType(), P3dHeader::KindSp3x);
    EXPECT_EQ(model.GetLodCount(), 1u);
    EXPECT_TRUE(model.IsMlod());
    EXPECT_EQ(model.GetP3DFamily(P3dHeader::OwnKind), -1);
    EXPECT_EQ(model.GetResolution(0), 0.0f);

    ASSERT_EQ(openBytes("sp3d"), 0);
    EXPECT_EQ(lines, "TGR DEMO SP3D\r\n");
    EXPECT_EQ(model.GetType(), P3dHeader::KindSp3d);
}

TEST_F(P3dHeaderKinds, Kind58PrefixIsCarriedToTheNextHeaderWrittenInTheSameThread) {
    ::testing::internal::CaptureStdout();
    ASSERT_EQ(openBytes(odol(58, 1, floats({1.0f}), "")), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(P3dHeader::k3Prefix(), "");

    ::testing::internal::CaptureStdout();
    ASSERT_EQ(openBytes(odol(58, 1, floats({1.0f}), "a3\\demo")), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "K3Prefix: a3\\demo\n");
    EXPECT_EQ(lines, "ODOL58 (Kern3) nLods=1\r\n");

    // Another handler, reading another file, writes the prefix that the first one read.
    P3dFile other(nullptr);
    const std::string source = folder.write("plain.p3d", odol(56, 1, floats({2.0f})));
    ASSERT_EQ(other.Open(source.c_str(), collect), 0);
    const std::string path = folder / "carried.p3d";
    ASSERT_EQ(other.CreateP3d(58, path.c_str()), 0);
    EXPECT_EQ(TempFolder::read(path), odol(58, 1, floats({2.0f}), "a3\\demo"));
    // A root working in another thread has a prefix of its own.
    std::string elsewhere = "not read";
    std::thread([&] { elsewhere = P3dHeader::k3Prefix(); }).join();
    EXPECT_EQ(elsewhere, "");
    P3dHeader::setK3Prefix("");
}

TEST_F(P3dHeaderKinds, OpenHeaderOnlyReadsKindAndCount) {
    EXPECT_EQ(model.OpenHeaderOnly(folder.write("header.p3d", odol(47, 9)).c_str()), 0);
    EXPECT_EQ(model.GetType(), 47);
    EXPECT_EQ(model.GetLodCount(), 9u);
    EXPECT_EQ(model.OpenHeaderOnly(folder.write("bad.p3d", odol(46, 9)).c_str()), P3dFile::BadHeader);
    EXPECT_EQ(model.OpenHeaderOnly((folder / "absent.p3d").c_str()), GE_InvalidFile);
}
