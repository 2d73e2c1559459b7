# SPDX-License-Identifier: MIT
import copy
import errno
import resource

import pytest

import quillmark

SEGMENTS = {0x1000: b"first", 0x2000: b"second"}


def test_a_dict_is_an_image_and_back():
    image = quillmark.MemoryImage(SEGMENTS)
    assert dict(image.segments) == SEGMENTS
    assert image.size == 11
    assert repr(image) == "<quillmark.MemoryImage 11 bytes in 2 segments>"


def test_pairs_are_an_image_in_address_order():
    assert quillmark.MemoryImage([(5, b"b"), (1, b"a")]).segments == [(1, b"a"), (5, b"b")]


def test_neighbours_are_joined():
    image = quillmark.MemoryImage({0: b"ab", 2: b"cd", 5: b"e"})
    assert image.joined() == {0: b"abcd", 5: b"e"}


def test_overlapping_segments_make_no_image():
    with pytest.raises(ValueError, match="overlap at address 0x1"):
        quillmark.MemoryImage({0: b"ab", 1: b"cd"})


@pytest.mark.parametrize(
    ("address", "size"), [(0x0FFF, 2), (0x1000, 1), (0x1000, 5), (0x1002, 1), (0x1004, 9), (0x0F00, 0x2000)]
)
def test_a_segment_that_overlaps_is_not_added(address, size):
    image = quillmark.MemoryImage(SEGMENTS)
    with pytest.raises(ValueError, match="overlaps the one from 0x[12]000 to 0x[12]00"):
        image.add(address, bytes(size))
    assert image == quillmark.MemoryImage(SEGMENTS)


@pytest.mark.parametrize(("address", "size"), [(0x0FFF, 1), (0x1005, 1), (0x1002, 0), (0x1FFF, 1), (-5, 5)])
def test_a_segment_between_others_is_added(address, size):
    image = quillmark.MemoryImage(SEGMENTS)
    image.add(address, bytes(size))
    assert image.size == 11 + size


def test_an_empty_segment_hides_no_overlap():
    image = quillmark.MemoryImage({0: b"abcd"})
    image.add(2, b"")
    with pytest.raises(ValueError):
        image.add(3, b"x")


def test_an_image_is_a_collection_of_its_segments():
    image = quillmark.MemoryImage(SEGMENTS)
    assert len(image) == 2
    assert list(image) == image.segments
    assert dict(image) == SEGMENTS
    assert not quillmark.MemoryImage()


def test_images_are_equal_that_say_the_same_of_the_memory():
    image = quillmark.MemoryImage({0: b"abcd", 5: b"e"})
    assert image == quillmark.MemoryImage({0: b"ab", 2: b"cd", 5: b"e"})
    assert image != quillmark.MemoryImage({0: b"abcd", 5: b"f"})
    assert image != quillmark.MemoryImage({0: b"abcd", 6: b"e"})
    assert image != {0: b"abcd", 5: b"e"}
    with pytest.raises(TypeError):
        hash(image)


@pytest.mark.parametrize("copy_of", [copy.copy, copy.deepcopy, quillmark.MemoryImage.copy])
def test_a_copy_is_an_image_of_its_own(copy_of):
    image = quillmark.MemoryImage(SEGMENTS)
    other = copy_of(image)
    other.add(0x3000, b"third")
    assert image == quillmark.MemoryImage(SEGMENTS)
    assert len(other) == 3


def test_a_slice_is_what_lies_between_two_addresses():
    image = quillmark.MemoryImage({-2: b"before", 0x10: b"0123456789", 0x20: b"behind"})
    assert image[0x12:0x14].segments == [(0x12, b"23")]
    assert image[0x18:0x22].segments == [(0x18, b"89"), (0x20, b"be")]
    assert image[:0].segments == [(-2, b"be")]
    assert image[0x24:].segments == [(0x24, b"nd")]
    assert image[:] == image
    assert not image[5:0x10]
    assert not image[0x14:0x12]


@pytest.mark.parametrize("bounds", [slice(0, 8, 2), slice(0, 2**31), slice("a"), 4])
def test_another_slice_is_refused(bounds):
    with pytest.raises((ValueError, TypeError, quillmark.Error)):
        quillmark.MemoryImage(SEGMENTS)[bounds]


@pytest.mark.parametrize("name", ["image.hex", "image.s19", "image.srec"])
def test_a_saved_file_reads_back(tmp_path, name):
    path = tmp_path / name
    quillmark.MemoryImage(SEGMENTS).save(path)
    assert dict(quillmark.MemoryImage.from_file(path).segments) == SEGMENTS
    assert dict(quillmark.MemoryImage.from_file(str(path)).segments) == SEGMENTS


def test_a_raw_binary_needs_its_base(tmp_path):
    path = tmp_path / "image.bin"
    quillmark.MemoryImage({4: b"ab", 8: b"c"}).save(path, fill=0)
    assert path.read_bytes() == b"ab\0\0c"
    assert quillmark.MemoryImage.from_file(path, base=4).segments == [(4, b"ab\0\0c")]
    with pytest.raises(ValueError):
        quillmark.MemoryImage.from_file(path)


@pytest.fixture
def disk(tmp_path):
    """A folder, and a function that lets files grow to so many bytes alone, as a full disk does."""
    before = resource.getrlimit(resource.RLIMIT_FSIZE)
    yield lambda room: resource.setrlimit(resource.RLIMIT_FSIZE, (room, before[1]))
    resource.setrlimit(resource.RLIMIT_FSIZE, before)


@pytest.mark.parametrize("name", ["image.hex", "image.s19", "image.bin"])
def test_a_full_disk_leaves_the_earlier_file_alone(tmp_path, disk, name):
    path = tmp_path / name
    path.write_bytes(b"earlier")
    image = quillmark.MemoryImage({0x10000 * i: b"data" for i in range(40)})
    for room in (0, 1, 500, 8191, 8192, 16384, 0x10000):
        if room < 1000 or name == "image.bin":
            disk(room)
            with pytest.raises(OSError) as caught:
                image.save(path)
            assert (caught.value.errno, caught.value.filename) == (errno.EFBIG, str(path))
    assert path.read_bytes() == b"earlier"
    assert list(tmp_path.iterdir()) == [path]


def test_repeated_records_are_a_warning(tmp_path):
    path = tmp_path / "image.hex"
    path.write_text(":01000000AB54\n:01000000AB54\n:00000001FF\n")
    with pytest.warns(UserWarning, match="image.hex: 1 record repeated with the same values"):
        assert quillmark.MemoryImage.from_file(path).segments == [(0, b"\xab")]


def test_a_damaged_file_is_named_with_its_line(tmp_path):
    path = tmp_path / "image.hex"
    path.write_text(":0100000041BF\n")
    with pytest.raises(ValueError, match="image.hex:1: "):
        quillmark.MemoryImage.from_file(path)


def test_a_file_that_is_not_there_is_an_os_error(tmp_path):
    path = tmp_path / "nowhere.hex"
    with pytest.raises(FileNotFoundError) as caught:
        quillmark.MemoryImage.from_file(path)
    assert (caught.value.errno, caught.value.filename) == (errno.ENOENT, str(path))


def test_a_folder_is_no_file(tmp_path):
    with pytest.raises(IsADirectoryError) as caught:
        quillmark.MemoryImage.from_file(tmp_path)
    assert caught.value.filename == str(tmp_path)


def test_a_file_in_no_folder_cannot_be_saved(tmp_path):
    path = tmp_path / "nowhere" / "image.hex"
    with pytest.raises(FileNotFoundError) as caught:
        quillmark.MemoryImage(SEGMENTS).save(path)
    assert caught.value.filename == str(path)


def test_an_address_that_does_not_fit_is_an_overflow():
    for address in (2**31, -(2**31) - 1):
        with pytest.raises(quillmark.Error) as caught:
            quillmark.MemoryImage({address: b"a"})
        assert caught.value.number == 6


@pytest.mark.parametrize("segments", [{0: "text"}, [5], ["a"], 5, {"0": b"a"}])
def test_what_is_no_image_is_a_type_error(reprog, segments):
    with pytest.raises(TypeError):
        quillmark.MemoryImage(segments)
    with pytest.raises(TypeError):
        reprog.ComputeDownload(0, segments, 0xFF, 16, 128)


def test_an_upload_goes_into_an_image_object_alone(reprog):
    with pytest.raises(TypeError):
        reprog.checkupload(quillmark.Document("<can/>"), {})
