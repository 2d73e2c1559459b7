apt install ./build/packages/*.deb
quillmark flash /usr/share/doc/quillmark-tools/examples/hello.srec --verify
python3 /usr/share/doc/python3-quillmark/examples/flash.py /usr/share/doc/python3-quillmark/examples/hello.srec
