source dev.d/mips.sh
build_mips
python3 dev.d/size.py build/mips/lib/libkvrn.so.1
