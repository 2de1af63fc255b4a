// Editable models written byte by byte: the header, then LODs of points, normals, faces with the
// texture and material they name, taggs and a resolution. Tests, benchmarks and the sample generator
// build their models with it; nothing here uses the library's reader or writer.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace archivefile::bench {

class MlodBytes {
public:
    struct Face {
        int vertices = 3;
        std::array<std::int32_t, 4> points{};
        std::array<std::int32_t, 4> normals{};
        std::array<float, 8> uv{};  // u and v of each vertex
        std::int32_t flags = 0;
        std::string texture;
        std::string material;
    };
    struct Tagg {
        std::string name;
        std::string data;
        std::uint8_t active = 1;
    };
    struct Lod {
        float resolution = 0.0f;
        std::int32_t flags = 0;
        std::vector<std::array<float, 3>> points;
        std::vector<std::array<float, 3>> normals;
        std::vector<Face> faces;
        // The end tagg is added when the LOD is written.
        std::vector<Tagg> taggs;
    };

    static void u8(std::string& out, unsigned value) { out += static_cast<char>(value & 0xFF); }
    static void i32(std::string& out, std::int32_t value) {
        for (int shift = 0; shift < 32; shift += 8) u8(out, static_cast<std::uint32_t>(value) >> shift);
    }
    static void f32(std::string& out, float value) {
        std::uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        i32(out, static_cast<std::int32_t>(bits));
    }
    static void text(std::string& out, const std::string& value) {
        out += value;
        out += '\0';
    }

    // "MLOD", version 257 and the LOD count.
    static std::string header(std::int32_t lodCount) {
        std::string out = "MLOD";
        i32(out, 257);
        i32(out, lodCount);
        return out;
    }

    static std::string lod(const Lod& lod) {
        std::string out = "P3DM";
        i32(out, 28);
        i32(out, 256);
        i32(out, static_cast<std::int32_t>(lod.points.size()));
        i32(out, static_cast<std::int32_t>(lod.normals.size()));
        i32(out, static_cast<std::int32_t>(lod.faces.size()));
        i32(out, lod.flags);
        for (const auto& point : lod.points) {
            for (const float coordinate : point) f32(out, coordinate);
            i32(out, 0);
        }
        for (const auto& normal : lod.normals)
            for (const float coordinate : normal) f32(out, coordinate);
        for (const Face& face : lod.faces) {
            i32(out, face.vertices);
            for (std::size_t v = 0; v < 4; ++v) {
                i32(out, face.points[v]);
                i32(out, face.normals[v]);
                f32(out, face.uv[2 * v]);
                f32(out, face.uv[2 * v + 1]);
            }
            i32(out, face.flags);
            text(out, face.texture);
            text(out, face.material);
        }
        out += "TAGG";
        for (const Tagg& tagg : lod.taggs) {
            u8(out, tagg.active);
            text(out, tagg.name);
            i32(out, static_cast<std::int32_t>(tagg.data.size()));
            out += tagg.data;
        }
        u8(out, 1);
        text(out, "#EndOfFile#");
        i32(out, 0);
        f32(out, lod.resolution);
        return out;
    }

    static std::string model(const std::vector<Lod>& lods) {
        std::string out = header(static_cast<std::int32_t>(lods.size()));
        for (const Lod& each : lods) out += lod(each);
        return out;
    }

    // A box of six four-sided faces that name `texture` and `material`, with a named selection of
    // all its points and faces.
    static Lod box(float resolution, float size, const std::string& texture, const std::string& material) {
        Lod lod;
        lod.resolution = resolution;
        const float h = size / 2;
        for (int i = 0; i < 8; ++i) lod.points.push_back({i & 1 ? h : -h, i & 2 ? h : -h, i & 4 ? h : -h});
        lod.normals = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
        const std::array<std::array<std::int32_t, 4>, 6> sides{{
            {1, 3, 7, 5}, {0, 4, 6, 2}, {2, 6, 7, 3}, {0, 1, 5, 4}, {4, 5, 7, 6}, {0, 2, 3, 1}}};
        for (std::size_t side = 0; side < sides.size(); ++side) {
            Face face;
            face.vertices = 4;
            face.points = sides[side];
            face.normals.fill(static_cast<std::int32_t>(side));
            face.uv = {0, 0, 1, 0, 1, 1, 0, 1};
            face.texture = texture;
            face.material = material;
            lod.faces.push_back(face);
        }
        lod.taggs.push_back({"box", std::string(8 + 6, '\x01')});
        return lod;
    }

    // A square grid of `side` x `side` points in two triangles a cell, all naming one texture, with a
    // selection tagg of a byte a point and a byte a face: the shape of a large scanned or sculpted LOD.
    static Lod grid(float resolution, int side, const std::string& texture) {
        Lod lod;
        lod.resolution = resolution;
        lod.points.reserve(static_cast<std::size_t>(side) * side);
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x)
                lod.points.push_back({static_cast<float>(x), static_cast<float>((x * 7 + y * 3) % 5) * 0.1f,
                                      static_cast<float>(y)});
        lod.normals = {{0, 1, 0}};
        for (int y = 0; y + 1 < side; ++y) {
            for (int x = 0; x + 1 < side; ++x) {
                const std::int32_t corner = y * side + x;
                for (const auto& triangle : {std::array<std::int32_t, 4>{corner, corner + side, corner + 1, 0},
                                             std::array<std::int32_t, 4>{corner + 1, corner + side, corner + side + 1, 0}}) {
                    Face face;
                    face.points = triangle;
                    face.uv = {0, 0, 0, 1, 1, 0, 0, 0};
                    face.texture = texture;
                    lod.faces.push_back(face);
                }
            }
        }
        lod.taggs.push_back({"ground", std::string(lod.points.size() + lod.faces.size(), '\x01')});
        return lod;
    }
};

}  // namespace archivefile::bench
