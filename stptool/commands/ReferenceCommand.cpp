// stptool reference: the model as pages to read.
#include <filesystem>

#include "stptool/commands/Commands.h"
#include "stptool/output/OutputFile.h"
#include "stptool/reference/ModelPages.h"

namespace stptool {

void runReference(const ReferenceOptions& options) {
  std::error_code error;
  std::filesystem::create_directories(options.folder, error);
  if (error) throw Failure("reference: " + options.folder + ": " + error.message());
  const std::vector<Page> pages = modelPages();
  for (const File& file : options.html ? htmlFiles(pages) : markdownFiles(pages)) {
    writeFile(options.folder + "/" + file.name, file.text);
  }
}

}  // namespace stptool
