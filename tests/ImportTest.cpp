// The settings of other stores, as `registerctl import` reads them.
#include "tools/registerctl/Import.h"
#include "exception/Exception.h"
#include "register/Limits.h"
#include "register/QtTypes.h"

#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>

#include <type_traits>

using namespace registerctl;
using namespace utils::properties;

namespace {

std::string literal(const PropertyValue &value) {
    return std::visit(
        [](const auto &held) -> std::string {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, NoValue> || std::is_same_v<Held, std::monostate>)
                return "none";
            else
                return std::string(std::is_same_v<Held, double> ? "number " : "") + printed(held);
        },
        value);
}

/// One line for each setting, imported or refused.
std::string lines(const Imported &imported) {
    std::string text;
    for (const auto &[name, value] : imported.properties)
        text += name + " = " + literal(value) + "\n";
    for (const std::string &refused : imported.refused)
        text += "- " + refused + "\n";
    return text;
}

std::string import(const std::string &format, const std::string &text, bool guessTypes = true) {
    try {
        return lines(importFrom(format, text, guessTypes));
    } catch (const utils::Exception &error) {
        return error.what();
    }
}

/// What QSettings writes, read again.
class Written : public testing::Test {
protected:
    Imported imported() {
        file.sync();
        QFile written(file.fileName());
        EXPECT_TRUE(written.open(QIODevice::ReadOnly));
        return importFrom("qsettings", written.readAll().toStdString(), true);
    }
    template <class... Values>
    void expectKept(const Values &...values) {
        (expectOneKept(values), ...);
    }
    template <class Value>
    void expectOneKept(const Value &value) {
        file.clear();
        file.setValue("group/value", QVariant::fromValue(value));
        const Imported read = imported();
        using Stored = typename Storage<Value>::Stored;
        const auto found = read.properties.find("group/value");
        ASSERT_NE(found, read.properties.end()) << lines(read);
        const auto *stored = std::get_if<Stored>(&found->second);
        ASSERT_TRUE(stored) << lines(read);
        EXPECT_EQ(Storage<Value>::load(Stored(*stored)), value) << lines(read);
    }

    QTemporaryDir directory;
    QSettings file{directory.filePath("settings.ini"), QSettings::IniFormat};
};

TEST_F(Written, typesOfQtAreRead) {
    expectKept(QSize(640, -1), QSizeF(1.5, 2), QPoint(-3, 4), QPointF(0.1, 4), QRect(1, 2, 3, 4),
               QRectF(1, 2, 3.5, 4), QByteArray("a\0\xFF z", 5),
               QDateTime(QDate(2026, 11, 23), QTime(10, 34, 6, 250), Qt::UTC), QDate(2026, 11, 23),
               QTime(10, 34, 6, 250), QUrl("https://example.org/a b?c"),
               QUuid("{12345678-1234-1234-1234-123456789abc}"), QString(u8"@\"\\;, \n\u00E4\u65E5"),
               QStringList{"a", "b, c", "@x"}, 1.1f, 0.1, -7, true);
    file.clear();
    file.setValue("wide", qint64(1) << 40);
    EXPECT_EQ(lines(imported()), "wide = \"1099511627776\"\n");
}

TEST_F(Written, groupsArraysAndWhatIsRefused) {
    file.setValue("General/x", 1);
    file.setValue("top", QVariantList{1, 2, 3});
    file.setValue("a/b c/d", QString());
    file.setValue("map", QVariantMap{{"a", 1}});
    file.setValue("none", QVariant());
    file.setValue("mixed", QVariantList{QSize(1, 2), 1});
    file.setValue("taken", 1);
    file.setValue("taken/by", 2);
    file.beginWriteArray("recent");
    for (int i = 0; i < 11; ++i) {
        file.setArrayIndex(i);
        file.setValue("line", i);
    }
    file.endArray();
    file.beginWriteArray("empty", 0);
    file.endArray();
    const std::string read = lines(imported());
    EXPECT_NE(read.find("recent/0/line = 0\nrecent/1/line = 1\nrecent/10/line = 10\n"), read.npos)
        << read;
    EXPECT_EQ(read.find("recent/size"), read.npos);
    for (const char *line :
         {"General/x = 1\n", "top = [1, 2, 3]\n", "a/b c/d = \"\"\n", "empty/size = 0\n",
          "- map: the register has no type for QVariantMap\n", "- none: no value,",
          "- mixed: a list whose", "taken = 1\n", "- taken/by: a level of the name is a setting"})
        EXPECT_NE(read.find(line), read.npos) << line << read;
}

TEST(Import, arraysOfQSettingsThatAreNotOnlyThat) {
    const std::string front = "[a]\n1\\x=1\n2\\x=2\n";
    EXPECT_EQ(import("qsettings", front + "size=2\n"), "a/0/x = 1\na/1/x = 2\n");
    EXPECT_EQ(import("qsettings", front + "size=2\n", false), "a/0/x = \"1\"\na/1/x = \"2\"\n");
    for (const char *rest : {"size=3\n", "size=1\n", "size=2\nmore=1\n", "size=2\n01\\x=1\n", ""})
        EXPECT_NE(import("qsettings", front + rest).find("a/1/x = 1\na/2/x = 2\n"), front.npos)
            << rest;
    EXPECT_EQ(import("qsettings", "[a]\n1\\x=1\n3\\x=2\nsize=2\n"),
              "a/1/x = 1\na/3/x = 2\na/size = 2\n");
    EXPECT_EQ(import("qsettings", "[a]\n1\\b\\1\\x=1\n1\\b\\size=1\nsize=1\n"), "a/0/b/0/x = 1\n");
}

TEST(Import, typesAreGuessedOnlyFromUsualSpellings) {
    const std::string text = "[g]\na=true\nb=-2147483648\nc=1.5\nd=1.0\ne=1e3\nf=2.5e-7\n";
    EXPECT_EQ(import("keyfile", text), "g/a = true\ng/b = -2147483648\ng/c = number 1.5\n"
                                       "g/d = number 1\ng/e = number 1000\n"
                                       "g/f = number 2.5e-07\n");
    EXPECT_EQ(import("keyfile", text, false),
              "g/a = \"true\"\ng/b = \"-2147483648\"\ng/c = \"1.5\"\ng/d = \"1.0\"\n"
              "g/e = \"1e3\"\ng/f = \"2.5e-7\"\n");
    for (const std::string string :
         {"True", "2147483648", "007", "+1", "-0", "1.50", "1.2.3", ".5", "1.", "1e400", "1e",
          "0x10", "inf", "nan", "0.1000000000000000055", ""})
        EXPECT_EQ(import("keyfile", "[g]\nk=" + string), "g/k = \"" + string + "\"\n");
}

TEST(Import, keyFiles) {
    EXPECT_EQ(
        import("keyfile",
               "# comment\n[Desktop Entry]\nName=Files\nName[de]=Dateien\n"
               "Keys=a\\;b;2;\nSizes=1;2;\nRatios=1;2.5;\nFlags=true;false;\nText=a; b\n"
               "One=a\\;b\nSpace=\\s1\nBad=a\\q\n[a/b]\nc=1\n[a]\nb=2\nx//y=3\n[..]\nk=1\n"),
        "Desktop Entry/Flags = [true, false]\nDesktop Entry/Keys = [\"a;b\", \"2\"]\n"
        "Desktop Entry/Name = \"Files\"\nDesktop Entry/Name[de] = \"Dateien\"\n"
        "Desktop Entry/One = [\"a;b\"]\n"
        "Desktop Entry/Ratios = [1, 2.5]\nDesktop Entry/Sizes = [1, 2]\n"
        "Desktop Entry/Space = \" 1\"\nDesktop Entry/Text = \"a; b\"\na/b/c = 1\n"
        "- Desktop Entry/Bad: Key file contains key “Bad” which has a value that cannot be "
        "interpreted.\n- a/b: there is a group of this name\n"
        "- a/x//y: the name has an empty level\n- ../k: the register does not allow this name\n");
}

TEST(Import, valuesOfGSettings) {
    for (const auto &[text, value] :
         {std::pair("true", "true"), std::pair("-7", "-7"), std::pair("byte 0xff", "255"),
          std::pair("uint32 2147483647", "2147483647"), std::pair("int64 -7", "-7"),
          std::pair("1.5", "number 1.5"), std::pair("'a\\'b c'", "\"a'b c\""),
          std::pair("objectpath '/a'", "\"/a\""), std::pair("['<Alt>', '']", "[\"<Alt>\", \"\"]"),
          std::pair("[uint64 1, 2]", "[1, 2]"), std::pair("@as []", "[]"),
          std::pair("[1.0, 0.5]", "[1, 0.5]"), std::pair("b'a\\377'", "\"a\377\"")}) {
        EXPECT_EQ(import("gsettings", std::string("org.x.y key ") + text + "\n"),
                  std::string("org/x/y/key = ") + value + "\n");
        EXPECT_EQ(import("dconf", std::string("[org/x]\nkey=") + text + "\n[/]\nkey=1\n"),
                  std::string("key = 1\norg/x/key = ") + value + "\n");
    }
    for (const auto &[text, why] : {std::pair("uint32 2147483648", "2147483648 does not fit in"),
                                    std::pair("[int64 1, -2147483649]", "-2147483649 does not fit"),
                                    std::pair("@mb nothing", "for the GVariant type mb"),
                                    std::pair("@a(ss) []", "for the GVariant type a(ss)"),
                                    std::pair("[byte 1, 2]", "not a string of bytes"),
                                    std::pair("nonsense", "unknown keyword"),
                                    std::pair("'\\ud800'", "not the text of a GVariant")})
        EXPECT_NE(import("gsettings", std::string("a k ") + text).find(why), std::string::npos)
            << text;
}

TEST(Import, json) {
    EXPECT_EQ(import("json", R"({"w": {"size": [1, 2], "zoom": 1.5, "none": null, "mix": [1, 2.5],
        "on": true, "literal": {"literal": "\u00e4"}}, "e": 1e300, "i": -2147483648,
        "r": [{"p": "a", "l": [1]}, {"p": "b"}]})"),
              "e = number 1e+300\ni = -2147483648\nr/0/l = [1]\nr/0/p = \"a\"\nr/1/p = \"b\"\n"
              "w/literal/literal = \"ä\"\nw/mix = [1, 2.5]\nw/none = none\nw/on = true\n"
              "w/size = [1, 2]\nw/zoom = number 1.5\n");
    for (const auto &[value, why] :
         {std::pair("2147483648", "2147483648 does not fit"),
          std::pair("123456789012345678901", "123456789012345678901 does not fit"),
          std::pair("[]", "an empty array"), std::pair("{}", "an object without"),
          std::pair("[1, \"a\"]", "an array whose elements"),
          std::pair("[[1]]", "an array that is neither"),
          std::pair("[{\"a\": 1}, 2]", "an array that is neither"),
          std::pair("[{\"a\": 1}, {\"a\": 2147483648}]", "an array of objects: 2147"),
          std::pair("[{\"a\": 1}, {\"..\": 1}]", "an array of objects: the register")})
        EXPECT_EQ(
            import("json", std::string("{\"k\": ") + value + "}").find(std::string("- k: ") + why),
            0U)
            << value;
    EXPECT_EQ(import("json", R"({"a/b": 1, "": 2, "a": {"..": 1}})"),
              "- a/b: a key with \"/\"\n- : an empty key\n- a/..: the register does not allow this "
              "name\n");
}

TEST(Import, wrongTexts) {
    const std::string deep = "{\"a\":" + std::string(100000, '[');
    for (const auto &[format, text, error] :
         {std::tuple("yaml", "", "yaml: no such format"),
          std::tuple("qsettings", "[a]\nb=1\n\nrubbish\n[c]\nd=1\n", "line 4: not a line"),
          std::tuple("keyfile", "[a]\nb=1\n\nrubbish\n[c]\n", "line 4: Key file contains line"),
          std::tuple("dconf", "a=1\n", "line 1: Key file"),
          std::tuple("gsettings", "a b 1\na b\n", "line 2: not a schema"),
          std::tuple("json", "{\n\"a\": tru}", "line 2: syntax error"),
          std::tuple("json", "[1]", "line 1: the text is not a JSON object"),
          std::tuple("json", "{\"a\": {\"b\": 1, \"b\": 1}}", "a/b: the key occurs twice"),
          std::tuple("json", deep.c_str(), "more than 512 levels"),
          std::tuple("keyfile", "[a]\nb=\xE4\n", "line 2: a byte that does not")})
        EXPECT_EQ(import(format, text).find(error), 0U) << import(format, text);
}

/// Lists of lists, which Qt reads and destroys by recursion.
TEST(Import, deepValueOfQSettings) {
    std::string text = "[General]\nx=@Variant(";
    for (int level = 0; level < 200000; ++level)
        text += "\\0\\0\\0\\t\\0\\0\\0\\x1";
    EXPECT_EQ(import("qsettings", text + "\\0\\0\\0\\2\\0\\0\\0\\1)\n"),
              "- x: the register has no type for QVariantList\n");
}

} // namespace
