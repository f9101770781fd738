#include "AuthoringDocument.h"

#include <algorithm>

namespace AuthoringTest {

size_t CountLines(const std::string& text, const std::string& fragment) {
    size_t count = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        count += text.substr(start, end - start).find(fragment) != std::string::npos;
        start = end + 1;
    }
    return count;
}

}  // namespace AuthoringTest
