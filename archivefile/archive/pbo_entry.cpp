#include "archivefile/archive/pbo_entry.h"

#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

void pbo_entry::read(VexFileIO& stream) {
    name_.Set(stream.ReadAsciizH());
    packingMethod_ = stream.readUnsigned();
    originalSize_ = stream.readUnsigned();
    reserved_ = stream.readUnsigned();
    timeStamp_ = stream.readUnsigned();
    dataSize_ = stream.readUnsigned();
    realSize_ = headerRealSize();
}

void pbo_entry::setData(std::unique_ptr<std::uint8_t[]> bytes, std::size_t length) {
    data_ = std::move(bytes);
    dataLength_ = length;
    realSize_ = static_cast<std::uint32_t>(length);
    loaded_ = true;
}

void pbo_entry::FreeData() {
    data_.reset();
    dataLength_ = 0;
    realSize_ = headerRealSize();
    loaded_ = false;
    rapified_ = false;
}

}  // namespace archivefile
