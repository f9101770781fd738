// The schemas and the README against the readers' vocabulary: every enumeration of a
// schema, the elements each schema declares (as lint's grammar places them), every row
// of the README's vocabulary table and the keys the README gives hold exactly the words
// of the table they stand for.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "DocumentVocabulary.h"
#include "Scratch.h"
#include "xentool_lint.h"

namespace {

namespace V = Ostrel::Vocabulary;
using Words = std::vector<std::string>;

std::string Narrow(std::wstring_view text) {
    return std::string(text.begin(), text.end());
}

// The texts of a table (or a list) once each, sorted.
template <typename Row, size_t N>
Words Of(const Row (&table)[N]) {
    Words words;
    for (const Row& row : table) {
        if constexpr (std::is_convertible_v<Row, std::wstring_view>) {
            words.push_back(Narrow(row));
        } else {
            words.push_back(Narrow(row.Text));
        }
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

Words Sorted(Words words) {
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

// The elements of a document kind, as lint's grammar places them.
Words ElementsOf(const Xentool::Grammar& grammar) {
    Words words;
    for (const Xentool::GrammarRow& row : grammar) {
        if (row.Occurrence != Xentool::Occurs::OptionalAttribute &&
            row.Occurrence != Xentool::Occurs::RequiredAttribute) {
            words.push_back(Narrow(row.Name));
        }
    }
    return Sorted(words);
}

Words Join(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return Sorted(words);
}

std::string ReadSource(const std::wstring& relative) {
    const std::vector<uint8_t> bytes =
        TestSupport::ReadFileBytes(std::wstring(OSTREL_SOURCE_DIR) + L"\\" + relative);
    return std::string(bytes.begin(), bytes.end());
}

// The values of every attribute named attribute inside text, in order.
Words Values(const std::string& text, const std::string& attribute) {
    Words values;
    const std::string marker = attribute + "=\"";
    for (size_t at = text.find(marker); at != std::string::npos; at = text.find(marker, at)) {
        at += marker.size();
        values.push_back(text.substr(at, text.find('"', at) - at));
    }
    return values;
}

// The words of a simple type: its enumerations, or the alternatives of its patterns
// ("[Aa][Ll][Ll]", "all" in any case, read as "all").
Words SchemaWords(const std::string& schema, const std::string& type) {
    const size_t start = schema.find("<xs:simpleType name=\"" + type + "\">");
    EXPECT_NE(std::string::npos, start) << type;
    const std::string body = schema.substr(start, schema.find("</xs:simpleType>", start) - start);
    Words words = Values(body, "<xs:enumeration value");
    for (const std::string& pattern : Values(body, "<xs:pattern value")) {
        for (size_t from = 0; from <= pattern.size();) {
            const size_t bar = std::min(pattern.find('|', from), pattern.size());
            const std::string word = pattern.substr(from, bar - from);
            words.push_back(word == "[Aa][Ll][Ll]" ? "all" : word);
            from = bar + 1;
        }
    }
    return Sorted(words);
}

// The words in backticks of the README's vocabulary row for document and name.
Words ReadmeWords(const std::string& readme, const std::string& document, const std::string& name) {
    const std::string row = "| " + document + " | " + name + " | ";
    const size_t start = readme.find(row);
    EXPECT_NE(std::string::npos, start) << row;
    const std::string cell =
        readme.substr(start + row.size(), readme.find('\n', start) - start - row.size());
    Words words;
    for (size_t at = cell.find('`'); at != std::string::npos; at = cell.find('`', at + 1)) {
        const size_t end = cell.find('`', at + 1);
        words.push_back(cell.substr(at + 1, end - at - 1));
        at = end;
    }
    return Sorted(words);
}

struct Vocabulary {
    const char* Document;  // the README's row
    const char* Name;
    const wchar_t* Schema;  // the schema and its simple type, or null for none
    const char* Type;
    Words Expected;
};

std::vector<Vocabulary> Rows() {
    const Words all = {Narrow(V::kAllWord)};
    return {
        {"storage", "`platform`", L"storage-control.xsd", "platformWord",
         Join(all, Of(V::kPlatforms))},
        {"storage", "`language`", L"storage-control.xsd", "languageWord",
         Join(Join(all, {Narrow(V::kEnglishUs.Text)}), Of(V::kLanguages))},
        {"storage", "`Root`", L"storage-control.xsd", "root", Of(V::kRegistryRoots)},
        {"storage", "`AccessMode`", L"storage-control.xsd", "accessMode", Of(V::kAccessModes)},
        {"storage", "`AccessRight`", L"storage-control.xsd", "accessRight", Of(V::kAccessRights)},
        {"storage", "`Action`", L"storage-control.xsd", "action", Of(V::kActions)},
        {"storage", "`Type`", L"storage-control.xsd", "valueType", Of(V::kValueTypes)},
        {"storage", "`Overwrite`, `check`, `save`", L"storage-control.xsd", "yesNo",
         Of(V::kBooleans)},
        {"storage", "INI `Path` macros", nullptr, nullptr, Of(V::kPathMacros)},
        {"service, provider", "`Module`", L"policy.xsd", "moduleType", Of(V::kModuleTypes)},
        {"service, provider", "`StartUp`", L"policy.xsd", "startupType", Of(V::kStartupTypes)},
        {"service, provider", "`Load`", L"policy.xsd", "loadOption", Of(V::kLoadOptions)},
        {"service, provider", "`Unload`", L"policy.xsd", "unloadOption", Of(V::kUnloadOptions)},
        {"service, provider", "`Interface`", L"policy.xsd", "interfaceType",
         Of(V::kInterfaceTypes)},
        {"service, provider", "`DataConversion`", L"policy.xsd", "dataConversion",
         Of(V::kDataConversions)},
        {"service, provider", "`SharedType`", L"policy.xsd", "sharedType", Of(V::kSharedTypes)},
        {"service, provider", "`Permission` `type`", L"policy.xsd", "permissionIndex",
         Of(V::kPermissionIndexes)},
        {"service, provider", "`Permission`", L"policy.xsd", "permissionValue",
         Of(V::kPermissionTypes)},
        {"web access", "`platform`", L"webaccess.xsd", "platformWord",
         Join(Of(V::kWebPlatforms), Of(V::kWebBitness))},
        {"web access", "`native`", L"webaccess.xsd", "native", Of(V::kNativeBitness)},
        {"web access", "`Filter` `type`", L"webaccess.xsd", "filterType", Of(V::kFilterTypes)},
        {"web access", "`enable`", L"webaccess.xsd", "yesNo", Of(V::kBooleans)},
        {"storage", "elements", nullptr, nullptr, ElementsOf(Xentool::StorageGrammar())},
        {"service, provider", "elements", nullptr, nullptr, ElementsOf(Xentool::PolicyGrammar())},
        {"web access", "elements", nullptr, nullptr, ElementsOf(Xentool::WebAccessGrammar())},
    };
}

TEST(Vocabulary, SchemaEnumerationsAreTheReadersWords) {
    for (const Vocabulary& row : Rows()) {
        if (row.Schema != nullptr) {
            EXPECT_EQ(row.Expected,
                      SchemaWords(ReadSource(L"schemas\\" + std::wstring(row.Schema)), row.Type))
                << row.Schema << " " << row.Type;
        }
    }
}

TEST(Vocabulary, SchemasDeclareTheReadersElements) {
    EXPECT_EQ(ElementsOf(Xentool::StorageGrammar()),
              Sorted(Values(ReadSource(L"schemas\\storage-control.xsd"), "<xs:element name")));
    EXPECT_EQ(ElementsOf(Xentool::PolicyGrammar()),
              Sorted(Values(ReadSource(L"schemas\\policy.xsd"), "<xs:element name")));
    EXPECT_EQ(ElementsOf(Xentool::WebAccessGrammar()),
              Sorted(Values(ReadSource(L"schemas\\webaccess.xsd"), "<xs:element name")));
}

TEST(Vocabulary, TheReadmeListsTheReadersWordsAndKeys) {
    const std::string readme = ReadSource(L"README.md");
    for (const Vocabulary& row : Rows()) {
        EXPECT_EQ(row.Expected, ReadmeWords(readme, row.Document, row.Name))
            << row.Document << " " << row.Name;
    }
    for (const V::DocumentKey& key : V::kDocumentKeys) {
        EXPECT_NE(std::string::npos, readme.find("`" + std::string(key.Key) + "`"))
            << Narrow(key.Kind);
    }
}

}  // namespace
