#pragma once
// The mutations of a fuzz input: byte-level and XML-aware changes of the plaintext before
// it is encrypted, and changes of the encrypted file after.

#include <cstdint>
#include <string>
#include <vector>

#include "FuzzRandom.h"

namespace OstrelFuzz {

enum class Mutation : uint32_t {
    // The plaintext, byte by byte.
    BitFlip,
    SpecialByte,
    Truncate,
    DuplicateSpan,
    DeleteSpan,
    Splice,
    // The plaintext as XML.
    DeepNesting,
    LongName,
    LongAttribute,
    LongText,
    ManyAttributes,
    RepeatedElement,
    InvalidUtf8,
    Utf16,
    InvalidUtf16,
    EntityDeclaration,
    WrongEncoding,
    CharacterReference,
    FieldText,
    AttributeText,
    // The encrypted file.
    CipherBitFlip,
    CipherTruncate,
    CipherBlocks,
    WrongKey,
    Unencrypted,
    Count
};

constexpr size_t kMutationCount = static_cast<size_t>(Mutation::Count);
constexpr Mutation kFirstCipherMutation = Mutation::CipherBitFlip;
// No mutation grows a plaintext beyond this many bytes.
constexpr size_t kMaxDocumentBytes = 1 << 20;

// One bit per Mutation.
using MutationSet = uint32_t;
inline MutationSet Bit(Mutation mutation) {
    return 1u << static_cast<uint32_t>(mutation);
}

const char* MutationName(Mutation mutation);

// What plaintext mutations draw from besides the document itself.
struct MutationSources {
    const std::vector<std::string>* Donors;      // other documents, for splices
    const std::vector<std::string>* Dictionary;  // texts and attribute values to try
};

// Applies one plaintext mutation (BitFlip .. AttributeText). False when the document
// offered no place for it (nothing changed).
bool MutatePlaintext(Mutation mutation, std::string& document, Random& random,
                     const MutationSources& sources);
// Applies CipherBitFlip, CipherTruncate or CipherBlocks to an encrypted file.
void MutateCiphertext(Mutation mutation, std::string& file, Random& random);

}  // namespace OstrelFuzz
