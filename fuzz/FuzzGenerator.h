#pragma once
// Makes the fuzz inputs of a run from its seed: picks a road and a starting document,
// mutates the plaintext, encrypts it (or not, or under another key) and sometimes mutates
// the encrypted file. The same seed and starting documents give the same inputs.

#include <cstdint>
#include <string>
#include <vector>

#include "FuzzMutations.h"
#include "FuzzPaths.h"
#include "FuzzRandom.h"

namespace OstrelFuzz {

struct SeedDocument {
    std::string Name;
    RequestPath Kind = RequestPath::Storage;
    bool AnyKind = false;  // a hostile document meant for every road
    std::string Text;
};

struct FuzzInput {
    RequestPath Path = RequestPath::Storage;
    std::vector<uint8_t> File;  // the bytes written where the road reads its document
    MutationSet Mutations = 0;
    std::string SeedName;
};

// The example documents (services.xml, providers.xml, webaccess.xml, storage-*.xml) and
// the corpus (service-*, provider-*, webaccess-*, storage-*, any-*.xml), in name order.
std::vector<SeedDocument> LoadSeeds(const std::wstring& examplesFolder,
                                    const std::wstring& corpusFolder);

class InputGenerator {
public:
    InputGenerator(uint64_t seed, std::vector<SeedDocument> seeds);

    FuzzInput Next();

private:
    const SeedDocument& PickSeed(RequestPath path);
    void MutatePlain(std::string& document, FuzzInput& input);
    void Encode(const std::string& document, FuzzInput& input);

    Random m_Random;
    std::vector<SeedDocument> m_Seeds;
    std::vector<std::string> m_Donors;
    std::vector<std::string> m_Dictionary;
};

}  // namespace OstrelFuzz
