#include "FuzzMutations.h"

#include <algorithm>

#include "FuzzXmlMutations.h"

namespace OstrelFuzz {
namespace {

constexpr size_t kBlock = 16;

const char* const kMutationNames[kMutationCount] = {
    "bit flips",
    "special bytes",
    "truncation",
    "duplicated span",
    "deleted span",
    "splice from another document",
    "deep nesting",
    "long element name",
    "long attribute value",
    "long text",
    "many attributes",
    "repeated element",
    "invalid UTF-8",
    "UTF-16 re-encoding",
    "invalid UTF-16",
    "entity declaration",
    "wrong encoding",
    "character reference",
    "dictionary text",
    "dictionary attribute",
    "ciphertext bit flips",
    "ciphertext truncation",
    "ciphertext blocks",
    "wrong key",
    "not encrypted",
};

const char kSpecialBytes[] = {'\0', '\x7f', '\x80', '\xff', '\xc0', '\xef', '\xfe', '<',
                              '>',  '&',    '"',    '\'',   '/',    '?',    '!',    ']'};

void FlipBits(std::string& bytes, Random& random, size_t flips) {
    for (size_t flip = 0; flip < flips && !bytes.empty(); ++flip) {
        bytes[random.Below(bytes.size())] ^= static_cast<char>(1u << random.Below(8));
    }
}

// A cut length drawn from the classes that matter: nothing, one byte, inside the XML
// declaration, anywhere, one byte short, half.
size_t CutLength(size_t size, Random& random) {
    switch (random.Below(6)) {
        case 0:
            return 0;
        case 1:
            return std::min<size_t>(1, size);
        case 2:
            return random.Below(std::min<size_t>(size, 48) + 1);
        case 3:
            return size == 0 ? 0 : size - 1;
        case 4:
            return size / 2;
        default:
            return random.Below(size + 1);
    }
}

size_t SpanLength(size_t size, size_t limit, Random& random) {
    return random.Between(1, std::max<size_t>(1, std::min(size, limit)));
}

bool DuplicateSpan(std::string& document, Random& random) {
    if (document.empty()) {
        return false;
    }
    const size_t length = SpanLength(document.size(), 4096, random);
    const size_t from = random.Below(document.size() - std::min(length, document.size()) + 1);
    const std::string span = document.substr(from, length);
    document.insert(random.Below(document.size() + 1), span);
    return true;
}

bool DeleteSpan(std::string& document, Random& random) {
    if (document.empty()) {
        return false;
    }
    const size_t length =
        SpanLength(document.size(), std::max<size_t>(1, document.size() / 4), random);
    document.erase(random.Below(document.size()), length);
    return true;
}

bool Splice(std::string& document, Random& random, const std::vector<std::string>& donors) {
    if (donors.empty()) {
        return false;
    }
    const std::string& donor = random.Pick(donors);
    if (donor.empty()) {
        return false;
    }
    const size_t length = SpanLength(donor.size(), 2048, random);
    const size_t from = random.Below(donor.size() - length + 1);
    const size_t at = random.Below(document.size() + 1);
    const size_t replaced = random.Percent(50) ? random.Below(document.size() - at + 1) : 0;
    document.replace(at, replaced, donor, from, length);
    return true;
}

bool MutateBytes(Mutation mutation, std::string& document, Random& random,
                 const MutationSources& sources) {
    switch (mutation) {
        case Mutation::BitFlip:
            FlipBits(document, random, random.Between(1, 8));
            return !document.empty();
        case Mutation::SpecialByte:
            for (size_t count = random.Between(1, 4); count > 0 && !document.empty(); --count) {
                document[random.Below(document.size())] =
                    kSpecialBytes[random.Below(sizeof(kSpecialBytes))];
            }
            return !document.empty();
        case Mutation::Truncate:
            document.resize(CutLength(document.size(), random));
            return true;
        case Mutation::DuplicateSpan:
            return DuplicateSpan(document, random);
        case Mutation::DeleteSpan:
            return DeleteSpan(document, random);
        default:
            return Splice(document, random, *sources.Donors);
    }
}

}  // namespace

const char* MutationName(Mutation mutation) {
    return kMutationNames[static_cast<size_t>(mutation)];
}

bool MutatePlaintext(Mutation mutation, std::string& document, Random& random,
                     const MutationSources& sources) {
    std::string changed = document;
    bool applied = false;
    switch (mutation) {
        case Mutation::DeepNesting:
            applied = Xml::DeepNesting(changed, random);
            break;
        case Mutation::LongName:
            applied = Xml::LongName(changed, random);
            break;
        case Mutation::LongAttribute:
            applied = Xml::LongAttribute(changed, random);
            break;
        case Mutation::LongText:
            applied = Xml::LongText(changed, random);
            break;
        case Mutation::ManyAttributes:
            applied = Xml::ManyAttributes(changed, random);
            break;
        case Mutation::RepeatedElement:
            applied = Xml::RepeatedElement(changed, random);
            break;
        case Mutation::InvalidUtf8:
            applied = Xml::InvalidUtf8(changed, random);
            break;
        case Mutation::Utf16:
            applied = Xml::Utf16(changed, random);
            break;
        case Mutation::InvalidUtf16:
            applied = Xml::InvalidUtf16(changed, random);
            break;
        case Mutation::EntityDeclaration:
            applied = Xml::EntityDeclaration(changed, random);
            break;
        case Mutation::WrongEncoding:
            applied = Xml::WrongEncoding(changed, random);
            break;
        case Mutation::CharacterReference:
            applied = Xml::CharacterReference(changed, random);
            break;
        case Mutation::FieldText:
            applied = Xml::FieldText(changed, random, *sources.Dictionary);
            break;
        case Mutation::AttributeText:
            applied = Xml::AttributeText(changed, random, *sources.Dictionary);
            break;
        default:
            applied = MutateBytes(mutation, changed, random, sources);
            break;
    }
    if (!applied || changed.size() > kMaxDocumentBytes) {
        return false;
    }
    document.swap(changed);
    return true;
}

void MutateCiphertext(Mutation mutation, std::string& file, Random& random) {
    const size_t blocks = file.size() / kBlock;
    if (mutation == Mutation::CipherBitFlip) {
        FlipBits(file, random, random.Between(1, 4));
    } else if (mutation == Mutation::CipherTruncate) {
        // Empty, short of one block, one block, whole blocks, one block short (the padding
        // block goes), one byte short.
        const size_t cuts[] = {0,
                               random.Between(1, kBlock - 1),
                               kBlock,
                               kBlock * random.Below(blocks + 1),
                               file.size() - std::min(file.size(), kBlock),
                               file.size() - std::min<size_t>(file.size(), 1)};
        file.resize(std::min(file.size(), cuts[random.Below(6)]));
    } else if (blocks > 0) {
        const size_t block = random.Below(blocks) * kBlock;
        switch (random.Below(4)) {
            case 0:
                file.insert(block, file.substr(block, kBlock));
                break;
            case 1:
                file.erase(block, kBlock);
                break;
            case 2:
                std::swap_ranges(file.begin() + block, file.begin() + block + kBlock,
                                 file.begin() + random.Below(blocks) * kBlock);
                break;
            default:
                for (size_t count = random.Between(1, kBlock); count > 0; --count) {
                    file.push_back(static_cast<char>(random.Below(256)));
                }
                break;
        }
    }
}

}  // namespace OstrelFuzz
