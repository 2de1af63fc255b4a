#!/usr/bin/env bash
# vex texture to-png and from-png as a user runs them: the sample PNG becomes a texture and back, outputs
# go beside the input or where -o says, and bad input of every kind ends with status 1 and a message,
# never an abort, leaving an earlier output as it was.
: "${SAMPLES:?SAMPLES must name the samples folder}"
source "$(dirname "$0")/common.sh"
head_hex() { head -c "$1" "$2" | od -An -tx1 | tr -d ' \n'; }

cp "$SAMPLES/textures/emblem.png" .
"$VEX" -q texture from-png emblem.png
check "from-png writes IN.paa beside the image" test -f emblem.paa
check "an image with alpha becomes DXT5" test "$(head_hex 2 emblem.paa)" = 05ff
"$VEX" texture from-png emblem.png --format argb4444 -o argb.paa 2>err
check "the output is named with its type, size and mipmaps" grep -q '^wrote argb.paa: RGB4, 128 x 128, 6 mipmaps, [0-9.]* kB$' err

mkdir made
"$VEX" -q texture from-png emblem.png -o made/ && "$VEX" -q texture to-png made/emblem.paa -o made
check "-o naming a folder writes inside it, under the input's name" test -f made/emblem.paa -a -f made/emblem.png

"$VEX" -q texture to-png emblem.paa -o back.png
check "to-png writes a PNG" test "$(head_hex 8 back.png)" = 89504e470d0a1a0a
"$VEX" -v texture to-png emblem.paa -o verbose.png 2>err
check "-v shows the texture's report" grep -q '^\* 128 x  128 Real Size   16384: Size in file' err
"$VEX" -q texture to-png emblem.paa -o - >stdout.png
check "-o - writes the PNG to standard output" cmp -s back.png stdout.png
"$VEX" -q texture from-png - -o piped.paa <back.png
check "- reads the image from standard input" test -s piped.paa

"$VEX" -q texture to-png argb.paa --all -o mips.png
check "--all writes every mipmap" test -f mips_mip0.png -a -f mips_mip5.png -a ! -e mips_mip6.png
check "--mip past the last is refused" test "$(status_of "$VEX" texture to-png argb.paa --mip 6)" -eq 1
check "and says how many there are" grep -q 'argb.paa has 6 mipmaps, numbered from 0' stderr
check "--mip and --all together are a usage error" test "$(status_of "$VEX" texture to-png argb.paa --mip 1 --all)" -eq 2

# A DXT5 texture of 12 x 4, written byte by byte: it shows, but cannot be made again from its image.
{ printf '\x05\xff''GGATCXAM\x04\x00\x00\x00\xff\xff\xff\xff\x00\x00'
  printf '\x0c\x00\x04\x00\x30\x00\x00'; head -c 48 /dev/zero; printf '\x00\x00\x00\x00\x00\x00'; } >odd.paa
"$VEX" -q texture to-png odd.paa -o odd.png
check "a texture of any size shows" test -s odd.png
echo earlier >odd-again.paa
check "sides that are no powers of two are refused" test "$(status_of "$VEX" texture from-png odd.png -o odd-again.paa)" -eq 1
check "with the reason" grep -q "^vex: error: odd.png is 12 x 4; a texture's sides are powers of two from 4 to 16384$" stderr
check "and the earlier output kept" grep -qx earlier odd-again.paa

printf 'not a texture at all\n' >foreign.paa
check "a foreign image is refused" test "$(status_of "$VEX" texture from-png foreign.paa -o x.paa)" -eq 1
check "as no PNG" grep -q 'foreign.paa is not a PNG image: it is a text file' stderr
# A header of 8192 x 8192 over 12 bytes of image data: refused before a quarter of a GiB is set aside.
printf '\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x20\x00\x00\x00\x20\x00\x08\x06\x00\x00\x00\x72\xaa\xca\x59\x00\x00\x00\x0c\x49\x44\x41\x54\x78\x9c\x63\x60\xa0\x0c\x00\x00\x00\x40\x00\x01\xb7\x34\x7c\xef\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60\x82' >bomb.png
check "a PNG too short for its size is refused" test "$(status_of "$VEX" texture from-png bomb.png -o x.paa)" -eq 1
check "before it is decoded" grep -q 'bomb.png is not a PNG that can be read: it is too short for an image of 8192 x 8192' stderr
check "nothing is left behind" test ! -e x.paa

finish "texture"
