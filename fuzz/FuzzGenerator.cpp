#include "FuzzGenerator.h"

#include <windows.h>

#include <set>

#include "FuzzFiles.h"
#include "FuzzStorageGate.h"
#include "FuzzXmlMutations.h"
#include "Scratch.h"

namespace OstrelFuzz {
namespace {

// Texts that number, GUID, version, path and format code trip on.
const char* const kHostileTexts[] = {
    "",
    " ",
    "%s%s%s%s%n%n",
    "%08x%08x%08x%08x",
    "{00000000-0000-0000-0000-000000000000}",
    "{92CBB9DE-F3AF-4511-BAA0-5BEE3622E27D",
    "{ZZZZZZZZ-ZZZZ-ZZZZ-ZZZZ-ZZZZZZZZZZZZ}",
    "-1",
    "0",
    "4294967295",
    "4294967296",
    "18446744073709551615",
    "18446744073709551616",
    "0x",
    "0xFFFFFFFFFFFFFFFFFF",
    "A",
    "ABC",
    "DEADBEEFDEADBEEFDEADBEEFDEADBEEFDEADBEEFDEADBEEFDEADBEEFDEADBEEF",
    "1.0",
    "1..0",
    ".",
    "999999999.999999999.999999999",
    "1.0.1120",
    "1.0.1120.5.6",
    "$INSTALL$",
    "$INSTALL$sub\\deep.ini",
    "CON",
    "NUL",
    "yes",
    "no",
    "YES",
    "all",
    "ALL",
};

// Wine's XmlLite reads a UTF-16 document correctly only when the whole document comes in
// its first read of the input (8188 bytes); past that it fails or faults, on valid
// documents too. UTF-16 inputs are kept within that read so that a run finds the
// module's faults rather than this one.
constexpr size_t kWineUtf16Bytes = 8000;

bool LooksUtf16(const std::string& document) {
    return document.size() >= 2 &&
           (document.compare(0, 2, "\xff\xfe") == 0 || document.compare(0, 2, "\xfe\xff") == 0 ||
            document[0] == '\0' || document[1] == '\0');
}

bool EndsWith(const std::wstring& text, const wchar_t* suffix) {
    const size_t length = wcslen(suffix);
    return text.size() >= length && text.compare(text.size() - length, length, suffix) == 0;
}

// The road a seed is meant for, from the start of its file name.
bool SeedKind(const std::wstring& name, SeedDocument& seed) {
    static const struct {
        const wchar_t* Prefix;
        RequestPath Kind;
    } kPrefixes[] = {{L"service", RequestPath::Service},
                     {L"provider", RequestPath::Provider},
                     {L"webaccess", RequestPath::WebAccess},
                     {L"storage", RequestPath::Storage},
                     {L"any", RequestPath::Storage}};
    for (const auto& prefix : kPrefixes) {
        if (name.compare(0, wcslen(prefix.Prefix), prefix.Prefix) == 0) {
            seed.Kind = prefix.Kind;
            seed.AnyKind = name.compare(0, 3, L"any") == 0;
            return true;
        }
    }
    return false;
}

void AddSeeds(const std::wstring& folder, std::vector<SeedDocument>& seeds) {
    for (const std::wstring& name : ListFiles(folder, L"*.xml")) {
        SeedDocument seed;
        if (!EndsWith(name, L".xml") || !SeedKind(name, seed)) {
            continue;
        }
        const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(folder + L"\\" + name);
        seed.Name = std::string(name.begin(), name.end());
        seed.Text.assign(bytes.begin(), bytes.end());
        seeds.push_back(std::move(seed));
    }
}

}  // namespace

std::vector<SeedDocument> LoadSeeds(const std::wstring& examplesFolder,
                                    const std::wstring& corpusFolder) {
    std::vector<SeedDocument> seeds;
    AddSeeds(examplesFolder, seeds);
    AddSeeds(corpusFolder, seeds);
    return seeds;
}

InputGenerator::InputGenerator(uint64_t seed, std::vector<SeedDocument> seeds)
    : m_Random(seed), m_Seeds(std::move(seeds)) {
    std::set<std::string> seen;
    for (const char* text : kHostileTexts) {
        m_Dictionary.push_back(text);
        seen.insert(text);
    }
    for (const SeedDocument& document : m_Seeds) {
        m_Donors.push_back(document.Text);
        for (const std::string& text : Xml::Texts(document.Text)) {
            if (text.size() <= 256 && seen.insert(text).second) {
                m_Dictionary.push_back(text);
            }
        }
    }
}

const SeedDocument& InputGenerator::PickSeed(RequestPath path) {
    std::vector<size_t> matching;
    for (size_t index = 0; index < m_Seeds.size(); ++index) {
        if (m_Seeds[index].Kind == path || m_Seeds[index].AnyKind) {
            matching.push_back(index);
        }
    }
    if (matching.empty() || m_Random.Percent(20)) {
        return m_Seeds[m_Random.Below(m_Seeds.size())];
    }
    return m_Seeds[m_Random.Pick(matching)];
}

void InputGenerator::MutatePlain(std::string& document, FuzzInput& input) {
    // One input in ten goes through unchanged: the baseline every mutation departs from.
    if (m_Random.Percent(10)) {
        return;
    }
    const MutationSources sources{&m_Donors, &m_Dictionary};
    // Mostly one or two changes: a document broken in many places stops at the first.
    const size_t draw = m_Random.Below(100);
    const size_t rounds = draw < 55 ? 1 : draw < 85 ? 2 : m_Random.Between(3, 4);
    for (size_t round = rounds; round > 0; --round) {
        const Mutation mutation =
            static_cast<Mutation>(m_Random.Below(static_cast<size_t>(kFirstCipherMutation)));
        if (MutatePlaintext(mutation, document, m_Random, sources)) {
            input.Mutations |= Bit(mutation);
        }
    }
    if (LooksUtf16(document) && document.size() > kWineUtf16Bytes) {
        document.resize(kWineUtf16Bytes);
    }
}

void InputGenerator::Encode(const std::string& document, FuzzInput& input) {
    const std::vector<uint8_t> plaintext(document.begin(), document.end());
    const size_t choice = m_Random.Below(100);
    if (choice < 4) {
        input.Mutations |= Bit(Mutation::Unencrypted);
        input.File = plaintext;
        return;
    }
    const char* key = PathKey(input.Path);
    if (choice < 8) {
        input.Mutations |= Bit(Mutation::WrongKey);
        key = PathKey(static_cast<RequestPath>(
            (static_cast<size_t>(input.Path) + m_Random.Between(1, kPathCount - 1)) % kPathCount));
    }
    input.File = Encrypt(key, plaintext);
    if (!m_Random.Percent(20)) {
        return;
    }
    std::string file(input.File.begin(), input.File.end());
    for (size_t round = m_Random.Between(1, 2); round > 0; --round) {
        const Mutation mutation =
            static_cast<Mutation>(static_cast<size_t>(kFirstCipherMutation) + m_Random.Below(3));
        MutateCiphertext(mutation, file, m_Random);
        input.Mutations |= Bit(mutation);
    }
    input.File.assign(file.begin(), file.end());
}

FuzzInput InputGenerator::Next() {
    FuzzInput input;
    // The storage road writes stores and has the most to get wrong: it gets two shares.
    input.Path = static_cast<RequestPath>(std::min<size_t>(m_Random.Below(5), 3));
    const SeedDocument& seed = PickSeed(input.Path);
    input.SeedName = seed.Name;
    std::string document =
        input.Path == RequestPath::Storage ? ConfineStorageSeed(seed.Text) : seed.Text;
    MutatePlain(document, input);
    Encode(document, input);
    return input;
}

}  // namespace OstrelFuzz
