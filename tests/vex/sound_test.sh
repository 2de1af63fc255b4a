#!/usr/bin/env bash
# vex sound check and vex sound convert as a user runs them: the sample click to WSS with each
# compression and back, sounds from editors' formats, and refusals that write nothing.
: "${WRITE_TEST_AUDIO:?set WRITE_TEST_AUDIO to the test sound writer}"
: "${SAMPLES:?set SAMPLES to the samples folder}"
source "$(dirname "$0")/common.sh"

click=$SAMPLES/mod/data/click.wav
printf '%s\n' "WAVMonoUnCompressed" "SampleRate        8000" "Bytes per Second  8000 " "BlockAlign            1" \
    "BitsPerSample        8" "Playtime:          0.10 Seconds" "Audio data          800 bytes" >"$work/expected"
"$VEX" sound check "$click" >"$work/report"
check "the report goes to standard output without carriage returns" cmp -s "$work/report" "$work/expected"

# Uncompressed WSS holds the WAVE's bytes and gives them back exactly; compressed WSS expands to 16 bits.
"$VEX" -q sound convert "$click" -o "$work/click0.wss"
"$VEX" -q sound convert "$work/click0.wss" -o "$work/back0.wav"
check "WAVE to WSS and back is exact" cmp -s "$work/back0.wav" "$click"
for compression in 4 8; do
    "$VEX" sound convert "$click" -o "$work/click$compression.wss" --compress "$compression" 2>"$work/stderr"
    check "the write is named ($compression)" grep -q "^wrote $work/click$compression.wss: WSS, " "$work/stderr"
    check "compression $compression reads back strictly" grep -q "^BitsPerSample        16$" \
        <("$VEX" sound check --strict "$work/click$compression.wss")
    "$VEX" -q sound convert "$work/click$compression.wss" -o "$work/back$compression.wav"
    check "compression $compression expands to 16-bit WAVE" test "$(stat -c %s "$work/back$compression.wav")" -eq $((44 + 1600))
done

# Other formats: lossless ones keep every sample, 8-bit ones stay 8-bit, floating point, lossy and
# 24-bit stereo ones become 16-bit; more than two channels and other rates are refused.
for kind in flac flac24 ogg aiff8 float six; do "$WRITE_TEST_AUDIO" "$work/tone.$kind" "$kind"; done
mv "$work/tone.float" "$work/float.wav"
"$VEX" sound convert "$work/tone.flac" -o "$work/flac.wav" 2>"$work/stderr"
check "FLAC samples arrive unchanged" cmp -s <(tail -c +45 "$work/flac.wav") "$work/tone.flac.raw"
check "the source is described" grep -q "tone.flac: stereo, 22050 Hz, read as 16-bit samples" "$work/stderr"
"$VEX" -q sound convert "$work/tone.flac24" -o "$work/flac24.wss"
check "24-bit stereo becomes 16-bit" grep -q "^BitsPerSample        16$" <("$VEX" sound check --strict "$work/flac24.wss")
"$VEX" sound convert "$work/tone.ogg" -o "$work/ogg.wss" --compress 8 2>"$work/stderr"
check "compressing stereo warns" grep -q "^Warning: compressed WSS files are expected to be mono" "$work/stderr"
check "a strict check refuses compressed stereo" test "$(status_of "$VEX" sound check --strict "$work/ogg.wss")" -eq 1
"$VEX" -q sound convert "$work/tone.aiff8" -o "$work/aiff.wav"
check "8-bit AIFF stays 8-bit" grep -q "^BitsPerSample        8$" <("$VEX" sound check "$work/aiff.wav")
"$VEX" -q sound convert "$work/float.wav" -o "$work/float16.wav"
check "a floating-point WAVE becomes 16-bit" grep -q "^BitsPerSample        16$" <("$VEX" sound check "$work/float16.wav")
check "a floating-point WAVE is refused when strict" \
    test "$(status_of "$VEX" sound convert --strict "$work/float.wav" -o "$work/strict.wav")" -eq 1
check "six channels are refused" test "$(status_of "$VEX" sound convert "$work/tone.six" -o "$work/six.wav")" -eq 1
check "the refusal says why" grep -q "6 channels; WSS and WAVE files here carry 1 or 2" "$work/stderr"
check "another rate is refused" test "$(status_of "$VEX" sound convert "$click" -o "$work/rate.wss" --rate 22050)" -eq 1
check "the refusal names both rates" grep -q "sampled at 8000 Hz, not 22050 Hz; vex keeps the sample rate" "$work/stderr"

# Doubtful and foreign inputs.
{ head -c 4 "$click"; printf '\x00\x01\x00\x00'; tail -c +9 "$click"; } >"$work/badlength.wav"
check "a wrong RIFF length is a warning" test "$(status_of "$VEX" sound check "$work/badlength.wav")" -eq 0
check "a wrong RIFF length fails when strict" test "$(status_of "$VEX" sound check --strict "$work/badlength.wav")" -eq 1
check "with the format code" grep -q "vex: error: .*badlength.wav: WSSERR_UNKNOWN_FORMAT (code 11)" "$work/stderr"
printf 'class A {};\n' >"$work/text.wav"
check "a text file is not a sound" test "$(status_of "$VEX" sound convert "$work/text.wav" -o "$work/t.wss")" -eq 1
check "an output of another kind is a usage error" test "$(status_of "$VEX" sound convert "$click" -o "$work/x.mp3")" -eq 2
check "--compress with WAVE output is a usage error" \
    test "$(status_of "$VEX" sound convert "$click" -o "$work/x.wav" --compress 8)" -eq 2
check "refusals write nothing" test -z "$(ls "$work" | grep -E '^(strict|six|rate|t|x)\.')"

finish "sound"
