// The types of Qt Core and of the standard library that properties can have.
#include "register/QtTypes.h"
#include "tests/StorageChecks.h"

#include <QTimeZone>

#include <cmath>

using namespace testing_support;
using namespace utils::properties;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {

constexpr int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();

TEST(QtTypes, numbersAndBytesKeepEveryValue) {
    expectForms<QByteArray>({{QByteArray("\0\xFF", 2), std::string("\0\xFF", 2)}, {"", ""}});
    expectForms<qint64>({{std::numeric_limits<qint64>::min(), "-9223372036854775808"}, {7, "7"}});
    expectForms<quint64>({{std::numeric_limits<quint64>::max(), "18446744073709551615"}});
    expectForms<long>({{-5, "-5"}});
    expectForms<unsigned>({{4294967295, "4294967295"}});
    expectMissing<qint64>({"", "9223372036854775808", "1 ", " 1", "+1", "1.0", "0x1", "1\0"s});
    expectMissing<quint64>({"-1", "18446744073709551616"});
    expectMissing<unsigned>({"4294967296"});
    expectForms<float>({{0.1f, double(0.1f)}, {INFINITY, INFINITY}, {-3, -3}});
    expectMissing<float>({1e300, -1e300});
}

TEST(QtTypes, enumerationsAndFlagsAreTheirKeys) {
    expectForms<Qt::Orientation>({{Qt::Vertical, "Vertical"}});
    expectForms<Qt::Alignment>(
        {{Qt::AlignHCenter | Qt::AlignTop, "AlignHCenter|AlignTop"}, {{}, ""}});
    expectForms<Qt::MouseButtons>({{Qt::NoButton, "NoButton"}, {Qt::LeftButton, "LeftButton"}});
    expectMissing<Qt::Orientation>({"", "vertical", "Vertical|Horizontal", "1", "Vertical\0x"s});
    expectMissing<Qt::Alignment>({"AlignLeft|", "AlignLeft|Nowhere", "1", "AlignLeft,AlignTop"});
    EXPECT_EQ(refusalOf(Qt::Orientation(3)), "Orientation has no key for 3.");
    EXPECT_EQ(refusalOf(Qt::MouseButtons(QFlag(int(0x80000000)))),
              "MouseButtons has no key for -2147483648.");
}

TEST(QtTypes, shapesAreLists) {
    expectForms<QPoint>({{{most, -2}, {most, -2}}});
    expectForms<QSize>({{{640, 480}, {640, 480}}});
    expectForms<QRect>({{{1, 2, 30, 40}, {1, 2, 30, 40}},
                        {{}, {0, 0, 0, 0}},
                        {{least, 0, most, 0}, {least, 0, most, 0}}});
    expectForms<QPointF>({{{0.5, 1e300}, {0.5, 1e300}}});
    expectForms<QSizeF>({{{0.5, -2}, {0.5, -2}}});
    expectForms<QRectF>({{{0.1, 2, 30, 40}, {0.1, 2, 30, 40}}});
    expectMissing<QPoint>({{}, {1}, {1, 2, 3}});
    expectMissing<QSize>({{}, {1}, {1, 2, 3}});
    expectMissing<QRect>({{1, 2, 3}, {1, 2, 3, 4, 5}, {most, 0, 2, 1}, {0, least, 1, 0}});
    expectMissing<QPointF>({{1}, {1, 2, 3}});
    expectMissing<QSizeF>({{1}, {1, 2, 3}});
    expectMissing<QRectF>({{1, 2, 3}, {1, 2, 3, 4, 5}});
    EXPECT_EQ(refusalOf(QRect(QPoint(least, 0), QPoint(most, 0))),
              "its width or height does not fit in 32 bits.");
}

TEST(QtTypes, datesAndTimesAreIso8601) {
    expectForms<QDate>({{{2024, 2, 29}, "2024-02-29"}, {{1, 1, 1}, "0001-01-01"}});
    expectMissing<QDate>({"", "2023-02-29", "2024-02-29 ", "2024-02-29T10:00", "2024/02/29"});
    expectForms<QTime>({{{0, 0}, "00:00:00.000"}, {{23, 59, 58, 7}, "23:59:58.007"}});
    expectMissing<QTime>({"", "24:00:00", "10:00", "10:00:00.5", "10:00:00.0000", "10:00:00x"});
    EXPECT_EQ(Storage<QTime>::load("10:34:06"), QTime(10, 34, 6));
    for (const std::string &refusal : {refusalOf(QDate()), refusalOf(QDate(10000, 1, 1)),
                                       refusalOf(QTime()), refusalOf(QDateTime())})
        EXPECT_EQ(refusal, "it is invalid or outside the years 1 to 9999.");

    const QDateTime utc({2026, 11, 23}, {10, 34, 6, 250}, Qt::UTC);
    expectForms<QDateTime>(
        {{utc, "2026-11-23T10:34:06.250Z"},
         {utc.toOffsetFromUtc(-9000), "2026-11-23T08:04:06.250-02:30"},
         {utc.toTimeZone(QTimeZone("Asia/Tokyo")), "2026-11-23T19:34:06.250+09:00"},
         {utc.toOffsetFromUtc(3208), "2026-11-23T11:27:06.250+00:53"}});
    EXPECT_EQ(Storage<QDateTime>::load("2026-11-23T19:34:06+09:00")->offsetFromUtc(), 32400);
    expectMissing<QDateTime>({"", "2026-11-23", "2026-11-23T10:34:06.250", "2026-02-30T10:34:06Z",
                              "2026-11-23T10:34:06.250Zx", "2026-11-23T10:34:06.250+25:00",
                              "2026-11-23T24:00:00.000Z"});
}

TEST(QtTypes, urlsUuidsAndDurations) {
    expectForms<QUrl>({{QUrl("http://h/\u00e4 b?q=%20#f"), "http://h/%C3%A4%20b?q=%20#f"},
                       {QUrl(), ""},
                       {QUrl("relative/path"), "relative/path"}});
    expectMissing<QUrl>({"http://h:port/", "http://h/%zz", "http://h/a b", "http://h/\0"s});
    EXPECT_EQ(refusalOf(QUrl("http://h:port/")), "it is not valid.");
    const QUuid uuid("{12345678-9abc-def0-1234-56789abcdef0}");
    expectForms<QUuid>({{uuid, "12345678-9abc-def0-1234-56789abcdef0"},
                        {QUuid(), "00000000-0000-0000-0000-000000000000"}});
    EXPECT_EQ(Storage<QUuid>::load("12345678-9ABC-DEF0-1234-56789ABCDEF0"), uuid);
    expectMissing<QUuid>({"", uuid.toString().toStdString(),
                          "12345678-9abc-def0-1234-56789abcdef0x",
                          "12345678-9abc-def0-1234-56789abcdefg"});

    expectForms<std::chrono::milliseconds>({{1500ms, "1500ms"}, {-1ms, "-1ms"}});
    expectForms<std::chrono::nanoseconds>(
        {{std::chrono::nanoseconds::min(), "-9223372036854775808ns"}});
    expectForms<std::chrono::minutes>({{90min, "90min"}});
    expectForms<std::chrono::duration<short, std::ratio<86400>>>(
        {{std::chrono::duration<short, std::ratio<86400>>(2), "2d"}});
    EXPECT_EQ(Storage<std::chrono::milliseconds>::load("2min"), 120000ms);
    EXPECT_EQ(Storage<std::chrono::seconds>::load("3000ms"), 3s);
    expectMissing<std::chrono::seconds>({"", "1", "s", "1.5s", "1 s", "1sx", "1500ms", "1x",
                                         "9223372036854775808s", "9223372036854775807h", "1s\0"s});
    expectMissing<std::chrono::duration<short>>({"32768s", "-32769s"});
}

TEST(QtTypes, aListIsOfAnyTypeThatIsStoredAsOneValue) {
    expectForms<std::vector<QString>>({{{"a", "\u00e9"}, {"a", "\u00e9"}}, {{}, {}}});
    expectForms<std::vector<Qt::Orientation>>({{{Qt::Horizontal}, {"Horizontal"}}});
    expectForms<std::vector<float>>({{{0.5f, 2}, {0.5, 2}}});
    expectMissing<std::vector<qint64>>({{"1", "2x"}});
    EXPECT_EQ(refusalOf(std::vector<QDate>{QDate(2024, 1, 1), QDate()}),
              "it is invalid or outside the years 1 to 9999.");
}

} // namespace
