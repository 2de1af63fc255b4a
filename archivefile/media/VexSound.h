// Sounds (.wss, .wav). Its operations arrive with the sound reader.
#pragma once

namespace archivefile {

class VexDLL;

class VexSound {
public:
    explicit VexSound(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile
