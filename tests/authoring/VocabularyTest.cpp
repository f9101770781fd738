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

Words Sorted(Words words) {
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

Words Join(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return Sorted(words);
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
    return Sorted(words);
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

std::string ReadSource(const std::string& relative) {
    const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(
        std::wstring(OSTREL_SOURCE_DIR) + L"\\" + std::wstring(relative.begin(), relative.end()));
    return std::string(bytes.begin(), bytes.end());
}

// Every text that follows open, up to the next close (or the end), in order.
Words Between(const std::string& text, const std::string& open, char close) {
    Words words;
    for (size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
        at += open.size();
        const size_t end = std::min(text.find(close, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

// The words of a simple type: its enumerations, or the alternatives of its patterns
// ("[Aa][Ll][Ll]", "all" in any case, read as "all"); with no type, the elements the
// schema declares.
Words SchemaWords(const std::string& schema, const char* type) {
    if (type == nullptr) {
        return Sorted(Between(schema, "<xs:element name=\"", '"'));
    }
    const size_t start = schema.find("<xs:simpleType name=\"" + std::string(type) + "\">");
    EXPECT_NE(std::string::npos, start) << type;
    const std::string body = schema.substr(start, schema.find("</xs:simpleType>", start) - start);
    Words words = Between(body, "<xs:enumeration value=\"", '"');
    for (const std::string& pattern : Between(body, "<xs:pattern value=\"", '"')) {
        for (const std::string& word : Between("|" + pattern, "|", '|')) {
            words.push_back(word == "[Aa][Ll][Ll]" ? "all" : word);
        }
    }
    return Sorted(words);
}

// The words in backticks of the README's vocabulary row for document and name.
Words ReadmeWords(const std::string& readme, const std::string& document, const std::string& name) {
    const std::string row = "| " + document + " | " + name + " | ";
    const size_t start = readme.find(row);
    EXPECT_NE(std::string::npos, start) << row;
    const size_t cell = start + row.size();
    const Words texts = Between(readme.substr(cell, readme.find('\n', start) - cell), "`", '`');
    Words words;
    for (size_t text = 0; text < texts.size(); text += 2) {  // the odd ones stand between words
        words.push_back(texts[text]);
    }
    return Sorted(words);
}

struct Vocabulary {
    const char* Document;  // the README's row: the document kinds and the name
    const char* Name;
    const char* Type;  // the schema's simple type; null for its elements, "" for none
    Words Expected;
};

std::string SchemaOf(const std::string& document) {
    return document == "storage"      ? "storage-control.xsd"
           : document == "web access" ? "webaccess.xsd"
                                      : "policy.xsd";
}

std::vector<Vocabulary> Rows() {
    const Words all = {Narrow(V::kAllWord)};
    const char* const policy = "service, provider";
    return {
        {"storage", "`platform`", "platformWord", Join(all, Of(V::kPlatforms))},
        {"storage", "`language`", "languageWord",
         Join(Join(all, {Narrow(V::kEnglishUs.Text)}), Of(V::kLanguages))},
        {"storage", "`Root`", "root", Of(V::kRegistryRoots)},
        {"storage", "`AccessMode`", "accessMode", Of(V::kAccessModes)},
        {"storage", "`AccessRight`", "accessRight", Of(V::kAccessRights)},
        {"storage", "`Action`", "action", Of(V::kActions)},
        {"storage", "`Type`", "valueType", Of(V::kValueTypes)},
        {"storage", "`Overwrite`, `check`, `save`", "yesNo", Of(V::kBooleans)},
        {"storage", "INI `Path` macros", "", Of(V::kPathMacros)},
        {"storage", "elements", nullptr, ElementsOf(Xentool::StorageGrammar())},
        {policy, "`Module`", "moduleType", Of(V::kModuleTypes)},
        {policy, "`StartUp`", "startupType", Of(V::kStartupTypes)},
        {policy, "`Load`", "loadOption", Of(V::kLoadOptions)},
        {policy, "`Unload`", "unloadOption", Of(V::kUnloadOptions)},
        {policy, "`Interface`", "interfaceType", Of(V::kInterfaceTypes)},
        {policy, "`DataConversion`", "dataConversion", Of(V::kDataConversions)},
        {policy, "`SharedType`", "sharedType", Of(V::kSharedTypes)},
        {policy, "`Permission` `type`", "permissionIndex", Of(V::kPermissionIndexes)},
        {policy, "`Permission`", "permissionValue", Of(V::kPermissionTypes)},
        {policy, "elements", nullptr, ElementsOf(Xentool::PolicyGrammar())},
        {"web access", "`platform`", "platformWord",
         Join(Of(V::kWebPlatforms), Of(V::kWebBitness))},
        {"web access", "`native`", "native", Of(V::kNativeBitness)},
        {"web access", "`Filter` `type`", "filterType", Of(V::kFilterTypes)},
        {"web access", "`enable`", "yesNo", Of(V::kBooleans)},
        {"web access", "elements", nullptr, ElementsOf(Xentool::WebAccessGrammar())},
    };
}

TEST(Vocabulary, SchemaEnumerationsAndElementsAreTheReadersWords) {
    for (const Vocabulary& row : Rows()) {
        if (row.Type == nullptr || *row.Type != '\0') {
            EXPECT_EQ(row.Expected,
                      SchemaWords(ReadSource("schemas\\" + SchemaOf(row.Document)), row.Type))
                << row.Document << " " << row.Name;
        }
    }
}

TEST(Vocabulary, TheReadmeListsTheReadersWordsAndKeys) {
    const std::string readme = ReadSource("README.md");
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
