// Every read, seek and conversion of a file's life in a parser fails once, and then for good: in
// opening with guessing, reading all records, restoring positions and asking for the size. Whatever
// fails is reported or made good, and the same parser reads the next file as if nothing had been.
#include "vel_csv_fake_stream.h"

#include <memory>

namespace
{

constexpr int NEVER = G_MAXINT;

// Calls of the converter until one fails; after that one they fail only if `lasting` is set.
struct ConversionFault {
    int left = NEVER;
    bool lasting = false;
    int calls = 0;

    bool strikes()
    {
        calls++;
        if (left == NEVER)
            return false;
        left--;
        return left == 0 || (left < 0 && lasting);
    }
};

ConversionFault conversion;
bool converter_missing;

} // namespace

extern "C" {

gsize __real_g_iconv(GIConv converter, gchar **in, gsize *in_left, gchar **out, gsize *out_left);
gsize __wrap_g_iconv(GIConv converter, gchar **in, gsize *in_left, gchar **out, gsize *out_left);
GIConv __real_g_iconv_open(const gchar *to, const gchar *from);
GIConv __wrap_g_iconv_open(const gchar *to, const gchar *from);

// A conversion that fails comes as far as the middle of its text.
gsize __wrap_g_iconv(GIConv converter, gchar **in, gsize *in_left, gchar **out, gsize *out_left)
{
    if (in == nullptr || !conversion.strikes())
        return __real_g_iconv(converter, in, in_left, out, out_left);
    gsize half = *in_left / 4 * 2;
    __real_g_iconv(converter, in, &half, out, out_left);
    errno = EILSEQ;
    return static_cast<gsize>(-1);
}

GIConv __wrap_g_iconv_open(const gchar *to, const gchar *from)
{
    return converter_missing ? reinterpret_cast<GIConv>(gintptr{-1})
                             : __real_g_iconv_open(to, from);
}

} // extern "C"

namespace
{

struct Encoding {
    const char *given; // as the parser is told; null to have it detected
    const char *name;  // as the parser settles it, null for the system's own
    const char *mark;  // what the file begins with
};

constexpr Encoding ENCODINGS[] = {
    {"UTF-8", "UTF-8", ""},
    {"UTF-16LE", "UTF-16LE", ""},
    {"UTF-16BE", "UTF-16BE", ""},
    {"ISO-8859-1", "ISO-8859-1", ""},
    {nullptr, nullptr, ""},
    {nullptr, "UTF-8", "\xEF\xBB\xBF"},
    {nullptr, "UTF-16LE", "\xFF\xFE"},
    {nullptr, "UTF-16BE", "\xFE\xFF"},
};

// Three blocks and a bit; a quoted field lies across the end of each, so that no position that is
// asked for needs another block.
std::string file_text(const Encoding &encoding)
{
    const bool wide = encoding.name != nullptr && g_str_has_prefix(encoding.name, "UTF-16");
    const size_t block = wide ? CSV_BLOCK / 2 : CSV_BLOCK;
    std::string text = "name\tvalue\n";
    for (int i = 0; text.size() < 3 * block + 100; i++) {
        const bool near_end = text.size() % block > block - 200;
        text += "n" + std::to_string(i) + "\t\"" + (near_end ? std::string(400, 'q') : "a\nb") +
                "\"\"" + std::to_string(i) + "\"\n";
        if (!near_end)
            text += std::string(7000, 'f') + std::to_string(i) + "\t" + std::to_string(i) + "\n";
    }
    if (wide)
        text = csv_utf16(text, g_str_has_suffix(encoding.name, "BE"));
    return encoding.mark + text;
}

// What a parser tells of a file, as far as it came.
struct Findings {
    bool headers = false;
    std::vector<CsvRecord> records;
    std::vector<CsvPosition> positions;
    std::vector<CsvRecord> restored;

    bool operator==(const Findings &) const = default;
};

void read_all(CsvReader &reader, Findings &findings)
{
    for (;;) {
        const CsvPosition position = reader.position();
        const CsvRecord record = reader.read();
        if (reader.error != nullptr || reader.count == 0)
            return;
        findings.positions.push_back(position);
        findings.records.push_back(record);
    }
}

void restore_some(CsvReader &reader, Findings &findings)
{
    const size_t n = findings.positions.size();
    for (const size_t i : {n - 1, size_t{1}, n / 2, n / 3, n - 2, size_t{0}}) {
        reader.go_to(findings.positions[i]);
        if (reader.error != nullptr)
            return;
        const CsvRecord record = reader.read();
        if (reader.error != nullptr)
            return;
        findings.restored.push_back(record);
    }
}

// Stops at the first error, which stays with the reader.
Findings go_through(CsvReader &reader, FakeStream &stream, const Encoding &encoding)
{
    Findings findings;
    vel_csv_parser_set_file(&reader.parser, stream.open(), 0, encoding.given, &reader.error);
    if (reader.error != nullptr)
        return findings;
    findings.headers = vel_csv_parser_guess_headers(&reader.parser, &reader.error);
    if (reader.error == nullptr)
        read_all(reader, findings);
    if (reader.error != nullptr)
        return findings;
    // Asked for in the middle of a file: reading goes on, whether or not it could be told.
    reader.go_to(findings.positions[1]);
    vel_csv_parser_get_file_size(&reader.parser);
    if (reader.error == nullptr)
        read_all(reader, findings);
    if (reader.error == nullptr)
        restore_some(reader, findings);
    return findings;
}

struct Case {
    const Encoding *encoding;
    std::string text;
    Findings expected;
    int calls = 0;       // of the stream
    int conversions = 0; // of the converter
};

std::unique_ptr<Case> make_case(const Encoding &encoding)
{
    auto made = std::make_unique<Case>(Case{&encoding, file_text(encoding), {}});
    FakeStream stream(made->text);
    conversion = {};
    CsvReader reader;
    made->expected = go_through(reader, stream, encoding);
    made->calls = stream.reads + stream.seeks;
    made->conversions = conversion.calls;
    EXPECT_EQ(reader.message(), "");
    EXPECT_GT(made->expected.records.size(), 50u);
    EXPECT_EQ(made->expected.restored.size(), 6u);
    EXPECT_GE(reader.parser.block, 0);
    EXPECT_GT(made->calls, 15);
    return made;
}

// The same parser, the same file without a fault.
void expect_all_is_well(CsvReader &reader, const Case &of)
{
    g_clear_error(&reader.error);
    FakeStream stream(of.text);
    EXPECT_TRUE(go_through(reader, stream, *of.encoding) == of.expected);
    EXPECT_EQ(reader.message(), "");
    reader.set_text("");
}

// A fault is reported, or nothing of the file is missing or wrong.
void expect_reported_or_made_good(const CsvReader &reader, const Findings &findings, const Case &of,
                                  const char *message, gint code)
{
    if (reader.error == nullptr) {
        EXPECT_TRUE(findings == of.expected);
        return;
    }
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, code));
    EXPECT_EQ(reader.message(), message);
    for (size_t i = 0; i < findings.records.size(); i++)
        ASSERT_TRUE(findings.records[i] == of.expected.records[i]) << i;
    for (size_t i = 0; i < findings.restored.size(); i++)
        ASSERT_TRUE(findings.restored[i] == of.expected.restored[i]) << i;
}

// @return how many of the calls were reported
int fail_each_call(const Case &of, bool lasting, int failure, gint code)
{
    int reported = 0;
    for (int n = 1; n <= of.calls; n++) {
        SCOPED_TRACE("call " + std::to_string(n));
        FakeStream stream(of.text);
        stream.failing_call = n;
        stream.lasting = lasting;
        stream.failure = failure;
        CsvReader reader;
        const Findings findings = go_through(reader, stream, *of.encoding);
        expect_reported_or_made_good(reader, findings, of, g_strerror(failure), code);
        reported += reader.error != nullptr ? 1 : 0;
        expect_all_is_well(reader, of);
    }
    return reported;
}

class VelCsvParserFault : public testing::TestWithParam<Encoding>
{
protected:
    void SetUp() override
    {
        of = make_case(GetParam());
        converter_missing = false;
    }

    void TearDown() override
    {
        conversion = {};
        converter_missing = false;
    }

    std::unique_ptr<Case> of;
};

} // namespace

TEST_P(VelCsvParserFault, EveryCallOfTheStreamMayFailOnce)
{
    // The rest are calls whose failure is made good: of the size, and of seeks that were tried
    // again.
    EXPECT_GE(fail_each_call(*of, false, EIO, G_IO_ERROR_FAILED), of->calls - 8);
}

TEST_P(VelCsvParserFault, StreamMayFailForGoodAtEveryCall)
{
    EXPECT_EQ(fail_each_call(*of, true, EIO, G_IO_ERROR_FAILED), of->calls);
}

TEST_P(VelCsvParserFault, EveryConversionMayFail)
{
    const bool converts = GetParam().name == nullptr || strcmp(GetParam().name, "UTF-8") != 0;
    ASSERT_EQ(of->conversions > 0, converts);
    for (const bool lasting : {false, true}) {
        for (int n = 1; n <= of->conversions; n++) {
            SCOPED_TRACE("conversion " + std::to_string(n));
            FakeStream stream(of->text);
            CsvReader reader;
            conversion = {n, lasting};
            const Findings findings = go_through(reader, stream, GetParam());
            ASSERT_NE(reader.error, nullptr);
            const std::string message =
                "Error decoding text from " + std::string(reader.parser.encoding);
            expect_reported_or_made_good(reader, findings, *of, message.c_str(), 0);
            conversion = {};
            expect_all_is_well(reader, *of);
        }
    }
}

TEST_P(VelCsvParserFault, ConverterMayBeMissing)
{
    FakeStream stream(of->text);
    CsvReader reader;
    converter_missing = true;
    go_through(reader, stream, GetParam());
    EXPECT_TRUE(reader.failed_with(G_IO_ERROR, 0));
    const std::string name = GetParam().name != nullptr ? GetParam().name : csv_ansi_charset();
    EXPECT_EQ(reader.message(), "Unknown encoding: " + name);
    converter_missing = false;
    expect_all_is_well(reader, *of);
}

static std::string encoding_name(const testing::TestParamInfo<Encoding> &info)
{
    std::string name = info.param.name != nullptr ? info.param.name : "System";
    name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
    return name + (info.param.given != nullptr ? "Given" : "Detected");
}

INSTANTIATE_TEST_SUITE_P(Encodings, VelCsvParserFault, testing::ValuesIn(ENCODINGS), encoding_name);

TEST(VelCsvParserFaults, EveryErrorOfTheSystemIsReportedAsItIs)
{
    const auto of = make_case(ENCODINGS[0]);
    EXPECT_GE(fail_each_call(*of, false, EACCES, G_IO_ERROR_PERMISSION_DENIED), of->calls - 8);
}

TEST(VelCsvParserFaults, SizeThatCannotBeToldLosesNoRecord)
{
    std::string text;
    for (int i = 0; text.size() < 3 * CSV_BLOCK; i++)
        text += std::to_string(i) + ",b\n";
    for (const int seek : {1, 2, 3, 4}) {
        FakeStream stream(text);
        CsvReader reader;
        vel_csv_parser_set_file(&reader.parser, stream.open(), ',', "UTF-8", &reader.error);
        stream.failing_seek = stream.seeks + seek;
        vel_csv_parser_get_file_size(&reader.parser);
        EXPECT_LE(vel_csv_parser_get_file_size(&reader.parser), static_cast<gint64>(text.size()));
        for (int i = 0;; i++) {
            const CsvRecord record = reader.read();
            if (reader.count == 0) {
                EXPECT_EQ(static_cast<size_t>(i),
                          size_t(std::count(text.begin(), text.end(), '\n')))
                    << "seek " << seek;
                break;
            }
            ASSERT_EQ(record, CsvRecord({std::to_string(i), "b"})) << "seek " << seek;
        }
        EXPECT_EQ(reader.message(), "");
    }
}

TEST(VelCsvParserFaults, PlaceThatIsLostForGoodIsAnErrorOfTheNextRead)
{
    FakeStream stream(std::string(3 * CSV_BLOCK, 'x'));
    CsvReader reader;
    vel_csv_parser_set_file(&reader.parser, stream.open(), ',', "UTF-8", &reader.error);
    stream.failing_call = stream.reads + stream.seeks + 3;
    stream.lasting = true;
    EXPECT_EQ(vel_csv_parser_get_file_size(&reader.parser), -1);
    reader.read();
    EXPECT_EQ(reader.message(), g_strerror(EIO));
}

TEST(VelCsvParserFaults, HalfACharacterAtABlocksEndDoesNotGetIntoTheBlockReadNext)
{
    for (const char *const encoding : {"UTF-16LE", "EUC-JP", "SHIFT_JIS", "GB18030", "utf8"}) {
        const bool wide = g_str_has_prefix(encoding, "UTF-16");
        const std::string half = wide ? "\x3D\xD8" : std::string("\xE3");
        std::string text = csv_filler(wide ? CSV_BLOCK - 1 : 2 * CSV_BLOCK - 1);
        if (wide)
            text = csv_utf16(text, false);
        FakeStream stream(text + half + (wide ? csv_utf16("abc,d\n", false) : "abc,d\n"));
        CsvReader reader;
        vel_csv_parser_set_file(&reader.parser, stream.open(), ',', encoding, &reader.error);
        ASSERT_EQ(reader.message(), "") << encoding;
        reader.go_to({1, 0});
        EXPECT_EQ(reader.message(), std::string("Error decoding text from ") + encoding);
        g_clear_error(&reader.error);
        reader.go_to({2, 0});
        EXPECT_EQ(reader.message(), "") << encoding;
        EXPECT_EQ(reader.read(), CsvRecord({"abc", "d"})) << encoding;
    }
}
