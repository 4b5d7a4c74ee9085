#include "support/SmallPDF.h"

#include <cstddef>
#include <vector>

namespace Bleedwise::Testing {

std::string smallPDF(std::string_view content) {
    const std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 100 100] /Resources << >> /Contents 4 0 R >>",
        "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + std::string(content) +
            "\nendstream",
    };
    const std::string size = std::to_string(objects.size() + 1);
    std::string text = "%PDF-1.4\n";
    std::string table = "xref\n0 " + size + "\n0000000000 65535 f \n";
    for (std::size_t index = 0; index < objects.size(); ++index) {
        const std::string offset = std::to_string(text.size());
        table += std::string(10 - offset.size(), '0') + offset + " 00000 n \n";
        text += std::to_string(index + 1) + " 0 obj\n" + objects[index] + "\nendobj\n";
    }
    return text + table + "trailer\n<< /Size " + size + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(text.size()) + "\n%%EOF\n";
}

} // namespace Bleedwise::Testing
