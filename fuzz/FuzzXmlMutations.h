#pragma once
// The XML-aware plaintext mutations: they find elements, texts and attribute values by
// a light scan of the bytes (no parser: the input need not be well formed) and change
// them into the shapes a hostile document takes.

#include <string>

#include "FuzzMutations.h"

namespace OstrelFuzz {
namespace Xml {

// The texts of text-only elements and the attribute values, in document order.
std::vector<std::string> Texts(const std::string& document);

bool DeepNesting(std::string& document, Random& random);
bool LongName(std::string& document, Random& random);
bool LongAttribute(std::string& document, Random& random);
bool LongText(std::string& document, Random& random);
bool ManyAttributes(std::string& document, Random& random);
bool RepeatedElement(std::string& document, Random& random);
bool InvalidUtf8(std::string& document, Random& random);
bool Utf16(std::string& document, Random& random);
bool InvalidUtf16(std::string& document, Random& random);
bool EntityDeclaration(std::string& document, Random& random);
bool WrongEncoding(std::string& document, Random& random);
bool CharacterReference(std::string& document, Random& random);
bool FieldText(std::string& document, Random& random, const std::vector<std::string>& dictionary);
bool AttributeText(std::string& document, Random& random,
                   const std::vector<std::string>& dictionary);

}  // namespace Xml
}  // namespace OstrelFuzz
