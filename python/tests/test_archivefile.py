"""The Python module as a build script uses it: pack, list, read, extract, compile, decode, check, describe."""
import os
import pathlib
import threading

import pytest

import archivefile

SOURCE = pathlib.Path(os.environ.get("ARCHIVEFILE_SOURCE", pathlib.Path(__file__).parents[2]))

CONFIG = """#define NAME(x) demo_##x
class AddonInfo {
    class NAME(lamps) {
        units[] = {"Lamp"};
        weight = 12;
    };
};
"""


@pytest.fixture
def mod(tmp_path):
    folder = tmp_path / "mod"
    (folder / "data").mkdir(parents=True)
    (folder / "config.cpp").write_text(CONFIG)
    (folder / "data" / "notes.txt").write_bytes(b"lamp notes " * 40)
    (folder / "data" / "skip.bak").write_bytes(b"old")
    return folder


@pytest.fixture
def packed(mod, tmp_path):
    return archivefile.pack(mod, tmp_path / "mod.pbo", prefix="x\\demo\\lamps", compress=True,
                            exclude="*.bak", mtime=1700000000)


def test_pack_list_and_read(packed):
    with archivefile.Archive(packed) as archive:
        assert archive.prefix == "x\\demo\\lamps"
        assert archive.properties["prefix"] == "x\\demo\\lamps"
        assert archive.header_report.startswith("======<HEADER>=======")
        entries = {entry.name: entry for entry in archive.entries}
        assert sorted(entries) == ["config.bin", "data\\notes.txt"]
        notes = entries["data\\notes.txt"]
        assert (notes.size, notes.time, notes.compressed) == (440, 1700000000, True)
        assert notes.stored_size < notes.size
        assert archive.read("DATA/notes.txt") == b"lamp notes " * 40
        assert archive.read("config.bin")[:4] == b"\0raP"
        assert b"class demo_lamps" in archive.read("config.bin", decode=True)
        with pytest.raises(KeyError):
            archive.read("missing.txt")
    with pytest.raises(ValueError):
        archive.entries


def test_extract_picks_entries_by_pattern(packed, tmp_path):
    with archivefile.Archive(packed) as archive:
        folder = pathlib.Path(archive.extract(tmp_path / "out", files="*.txt"))
    assert folder == tmp_path / "out" / "x" / "demo" / "lamps"
    assert (folder / "data" / "notes.txt").read_bytes() == b"lamp notes " * 40
    assert not (folder / "config.bin").exists() and not (folder / "config.cpp").exists()


def test_failures_carry_code_message_and_lines(tmp_path):
    with pytest.raises(archivefile.Error) as raised:
        archivefile.Archive(tmp_path / "absent.pbo")
    assert raised.value.code != 0 and raised.value.message in str(raised.value)
    with pytest.raises(archivefile.Error) as raised:
        archivefile.pack(tmp_path / "no-such-folder", tmp_path / "x.pbo")
    assert any("Folder does not exist" in line for line in raised.value.lines)
    with pytest.raises(ValueError):
        archivefile.pack(tmp_path, style="zip")


def test_log_lines_reach_the_callable_and_its_exception_cancels(mod, tmp_path):
    lines = []
    archivefile.pack(mod, tmp_path / "a.pbo", log=lines.append)
    assert lines and not any(line.endswith(("\r", "\n")) for line in lines)

    def refuse(line):
        raise LookupError("stop here")

    with pytest.raises(LookupError, match="stop here"):
        archivefile.pack(mod, tmp_path / "b.pbo", log=refuse)
    assert not (tmp_path / "b.pbo").exists()


def test_calls_run_side_by_side_in_threads(mod, tmp_path):
    results = []
    threads = [threading.Thread(target=lambda n=n: results.append(
        archivefile.pack(mod, tmp_path / f"t{n}.pbo", log=lambda line: None))) for n in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4


def test_config_compile_decode_and_check(mod):
    binary = archivefile.compile_config(CONFIG)
    assert binary == archivefile.compile_config_file(mod / "config.cpp")
    text = archivefile.decode_config(binary)
    assert "class demo_lamps" in text and "\r\n" in text
    assert archivefile.compile_config(text) == binary
    assert archivefile.check_config(mod / "config.cpp")["classes"] == 2

    (mod / "broken.hpp").write_text("class A {\n    x[] = 3;\n};\n")
    (mod / "main.cpp").write_text('#include "broken.hpp"\n')
    with pytest.raises(archivefile.ConfigError) as raised:
        archivefile.check_config(mod / "main.cpp")
    error = raised.value
    assert (pathlib.Path(error.file).name, error.line, error.code) == ("broken.hpp", 2, 23)
    assert error.source_line.strip() == "x[] = 3;"
    with pytest.raises(archivefile.Error) as raised:
        archivefile.decode_config(b"\0raP\x04\0\0")
    assert raised.value.code != 0


def test_describe_each_kind(tmp_path):
    data = SOURCE / "samples" / "mod" / "data"
    model = archivefile.describe_model(data / "lamp.p3d")
    assert model["editable"] and model["type"].startswith("MLOD nLods=") and len(model["lods"]) > 0
    assert "x\\demo\\addons\\lamps\\data\\lamp.rvmat" in model["textures"]

    index = archivefile.describe_texture_index(data / "textures.bin")
    assert index["textures"] and {"path", "mipmaps", "pixel_format"} <= set(index["textures"][0])

    sound = archivefile.describe_sound(data / "click.wav")
    assert (sound["form"], sound["channels"], sound["sample_rate"]) == ("WAVE", 1, 8000)
    assert "SampleRate        8000" in sound["report"]

    texture = archivefile.describe_texture(SOURCE / "fuzz" / "corpus" / "fuzz_texture" / "dxt1.paa")
    assert texture["type"] == "DXT1" and texture["mipmaps"][0]["width"] > 0 and texture["report"]

    (tmp_path / "old.fxy").write_bytes(bytes(2688))
    assert archivefile.describe_font(tmp_path / "old.fxy") == {"layout": "plain", "records": 224, "record_size": 12}
    (tmp_path / "bad.fxy").write_bytes(bytes(100))
    with pytest.raises(archivefile.Error) as raised:
        archivefile.describe_font(tmp_path / "bad.fxy")
    assert raised.value.code == 10
