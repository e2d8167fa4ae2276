"""make.py BUILD PHOTOS: what the documentation site shows besides its text, into build/docs.

BUILD is a build folder with the examples and the Python package, PHOTOS the folder of Debian's photographs. Fails if a
message of the library is missing on the page of messages.
"""

import html
import pathlib
import re
import subprocess
import sys

import numpy as np
from PIL import Image

root = pathlib.Path(__file__).resolve().parent.parent
build, photos = map(pathlib.Path, sys.argv[1:])
made = root / "build" / "docs"
pictures, fragments, work = made / "pictures", made / "fragments", made / "work"
sys.path.insert(0, str(build / "python"))
import kelvra_cv  # noqa: E402

GUIDES = {"outline": "YellowFlower.jpg", "portrait": "LadyBird.jpg", "contrast": "Storm.jpg", "blurs": "Dune.jpg"}
FRONT = {"portrait": "portrait_1_crop.jpg", "outline": "outline_3_outline.jpg", "contrast": "contrast_2_strong.jpg"}


def save_small(image, path, side):
    image = image.convert("RGB")
    image.thumbnail((side, side))
    path.parent.mkdir(parents=True, exist_ok=True)
    image.save(path, quality=88)


def run_guides():
    for guide, photo in GUIDES.items():
        subprocess.run([build / "examples" / "guides" / guide, photos / photo, work], check=True)
    subprocess.run([build / "examples" / "detector" / "detector", photos / "Garden.jpg", work / "detector.png"], check=True)
    for path in work.iterdir():
        save_small(Image.open(path), pictures / (path.stem + ".jpg"), 900)
    for name, path in FRONT.items():
        save_small(Image.open(work / path), pictures / "front" / f"{name}.jpg", 480)


def groups():
    """The header's groups with the functions declared in them."""
    header = (root / "include" / "kelvra_cv.h").read_text()
    for part in header.split("\\defgroup ")[1:]:
        code = "\n".join(line for line in part.split("\n") if not line.lstrip().startswith("//"))
        yield part.split()[0], set(re.findall(r"\b([a-z]\w+)\(", code))


def show_operations():
    """For each group its operations' results on a photo, beside the photo."""
    photo = Image.open(photos / "LadyBird.jpg")
    photo.thumbnail((640, 640))
    pixels = np.asarray(photo)[:, :, :3].copy()
    save_small(photo, pictures / "op_photo.jpg", 420)
    for group, functions in groups():
        figures = ['<figure><img src="../op_photo.jpg" alt="a ladybird on a stalk"><figcaption>the photo</figcaption></figure>']
        for operation in kelvra_cv.operations():
            if not set(operation.functions) & functions:
                continue
            result = Image.fromarray(kelvra_cv.run(operation.name, pixels).squeeze())
            save_small(result, pictures / f"op_{operation.name}.jpg", 420)
            caption = f"<code>{html.escape(operation.name)}</code> {html.escape(operation.sentence)}"
            figures.append(f'<figure><img src="../op_{operation.name}.jpg" alt="{html.escape(operation.name)}">'
                           f"<figcaption>{caption}</figcaption></figure>")
        fragments.mkdir(parents=True, exist_ok=True)
        body = "\n".join(figures) if len(figures) > 1 else ""
        (fragments / f"{group}.html").write_text(f'<div class="pictures">\n{body}\n</div>\n')


def check_messages():
    page = (root / "docs" / "reference" / "messages.md").read_text()
    for path in (root / "src").rglob("*.cpp"):
        for text in re.findall(r'log_print\(\s*"(.*?)(?:\\n)?"', path.read_text()):
            if f"`{text}`" not in page:
                sys.exit(f"docs/reference/messages.md does not list {text!r} of {path.relative_to(root)}")


def main():
    check_messages()
    work.mkdir(parents=True, exist_ok=True)
    run_guides()
    show_operations()


if __name__ == "__main__":
    main()
