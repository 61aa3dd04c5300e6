# The tour that the program takes by itself, as scripts/tour has it taken.

import os
import pathlib
import subprocess
import tempfile
import unittest

from PIL import Image


class Tour(unittest.TestCase):
    def test_the_tour_comes_to_its_end_and_leaves_its_pictures(self):
        script = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "tour"
        with tempfile.TemporaryDirectory() as folder:
            tour = subprocess.run([script, os.environ["BRISKO"], folder], capture_output=True, text=True)
            self.assertEqual(tour.returncode, 0, tour.stderr)
            pictures = [picture for picture in os.listdir(folder) if picture[0].isdigit()]
            self.assertIn(f"{len(pictures)} pictures in {folder}\n", tour.stdout)
            for picture in os.listdir(folder):
                self.assertIsNone(Image.open(f"{folder}/{picture}").getcolors(2), f"{picture} shows nothing")
