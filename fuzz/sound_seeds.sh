#!/usr/bin/env bash
# Writes the seed files of fuzz_sound: small WAVE and WSS files of each kind, made byte by byte here.
# Run from anywhere; the files go to fuzz/corpus/fuzz_sound/.
set -euo pipefail
out="$(dirname "$0")/corpus/fuzz_sound"
mkdir -p "$out"

# WAVE, mono 8-bit at 8000 Hz, a LIST chunk of odd length with its pad byte, then 6 samples.
{
    printf 'RIFF\x36\x00\x00\x00WAVE'
    printf 'fmt \x10\x00\x00\x00\x01\x00\x01\x00\x40\x1f\x00\x00\x40\x1f\x00\x00\x01\x00\x08\x00'
    printf 'LIST\x03\x00\x00\x00abc\x00'
    printf 'data\x06\x00\x00\x00\x80\x90\xa0\x70\x60\x80'
} >"$out/list.wav"

# WAVE, stereo 16-bit at 11025 Hz with an 18-byte format chunk, two frames.
{
    printf 'RIFF\x2e\x00\x00\x00WAVE'
    printf 'fmt \x12\x00\x00\x00\x01\x00\x02\x00\x11\x2b\x00\x00\x44\xac\x00\x00\x04\x00\x10\x00\x00\x00'
    printf 'data\x08\x00\x00\x00\x00\x10\x00\xf0\xff\x7f\x00\x80'
} >"$out/stereo18.wav"

# WSS, mono nibbles at 8000 Hz, 16-bit samples, output size word 0.
{
    printf 'WSS0\x04\x00\x00\x00\x01\x00\x01\x00\x40\x1f\x00\x00\x80\x3e\x00\x00\x02\x00\x10\x00\x00\x00'
    printf '\x77\xf7\x80\x03\x19\x2a'
} >"$out/nibble.wss"

# WSS, stereo byte codes at 22050 Hz with an output size word.
{
    printf 'WSS0\x08\x00\x00\x00\x01\x00\x02\x00\x22\x56\x00\x00\x88\x58\x01\x00\x04\x00\x10\x00\x07\x00'
    printf '\x7f\x05\x81\x80\x64\xfb'
} >"$out/byte.wss"
