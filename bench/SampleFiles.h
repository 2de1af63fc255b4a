// The model and the texture index of samples/, as bytes. generate_samples writes them there, and a
// test checks that the files in samples/ are still exactly these bytes.
#pragma once

#include <string>

#include "bench/MlodBytes.h"
#include "bench/TexIndexBytes.h"

namespace archivefile::bench {

// The lamp of the demo mod: a shade in two graphical LODs, its geometry with a mass tagg, and a
// memory LOD. The shade names a procedural texture and the mod's own material.
inline std::string sampleModel() {
    const std::string texture = "#(argb,8,8,3)color(0.9,0.8,0.5,1,co)";
    const std::string material = "x\\demo\\addons\\lamps\\data\\lamp.rvmat";
    MlodBytes::Lod detailed = MlodBytes::box(1.0f, 0.4f, texture, material);
    MlodBytes::Lod distant = MlodBytes::box(4.0f, 0.4f, texture, material);
    MlodBytes::Lod geometry = MlodBytes::box(1e13f, 0.4f, "", "");
    std::string masses;
    for (int point = 0; point < 8; ++point) MlodBytes::f32(masses, 0.25f);
    geometry.taggs.push_back({"#Mass#", masses});
    MlodBytes::Lod memory = MlodBytes::box(1e15f, 0.1f, "", "");
    memory.taggs.push_back({"light", std::string(8 + 6, '\x01')});
    return MlodBytes::model({detailed, distant, geometry, memory});
}

// An index of the mod's textures as they would be made: a colour map, a normal map and a small
// palette icon.
inline std::string sampleTextureIndex() {
    TexIndexBytes index;
    index.add({"x\\demo\\addons\\lamps\\data\\lamp_co.paa", 1, 9, 256, 0, 0x2A0C0, {0, 0, 0, 0}});
    index.add({"x\\demo\\addons\\lamps\\data\\lamp_nohq.paa", 10, 8, 128, 0, 0xAAB0, {0, 1, 0, 0}});
    index.add({"x\\demo\\addons\\lamps\\data\\icon_ca.paa", 4, 6, 32, 0, 0x5A8, {1, 0, 0, 1}});
    return index.bytes();
}

}  // namespace archivefile::bench
