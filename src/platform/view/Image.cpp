#include <stb_image.h>

#include <fstream>
#include <iterator>

#include "corvana/view.h"

namespace corvana {

Image::Image(int width, int height, std::vector<uint8_t> rgba)
    : width_(width > 0 && height > 0 ? width : 0), height_(width > 0 && height > 0 ? height : 0),
      rgba_(std::move(rgba)) {
  // Drawing reads width x height pixels: a short buffer is padded with transparent pixels.
  rgba_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_) * 4, 0);
}

std::shared_ptr<Image> Image::imageWithData(const Data& bytes) {
  if (bytes.empty() || bytes.size() > static_cast<size_t>(INT32_MAX)) return nullptr;
  int width = 0, height = 0, channels = 0;
  stbi_uc* pixels = stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height, &channels, 4);
  if (!pixels) return nullptr;
  std::vector<uint8_t> rgba(pixels, pixels + static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  stbi_image_free(pixels);
  return std::make_shared<Image>(width, height, std::move(rgba));
}

std::shared_ptr<Image> Image::imageWithContentsOfFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return nullptr;
  const Data bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return imageWithData(bytes);
}

}  // namespace corvana
