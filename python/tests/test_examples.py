"""Every bundled example from Python gives the worksheet the command-line tool gives."""

import subprocess

import zubra


def test_python_gives_the_tools_worksheet_for_the_same_seed(example, zubra_tool):
    tool = subprocess.run([zubra_tool, "design", example, "--seed", "20240611"],
                          capture_output=True, check=True, timeout=300)
    inv = zubra.Investigation.load(example)
    design = inv.design(seed=20240611)
    sheet = inv.worksheet
    assert sheet.to_text("tsv") == tool.stdout.decode("utf-8")
    assert len(sheet) == design.runs
    assert inv.last_seed == 20240611
    # The seed is kept with the investigation, so that a saved file makes the same order.
    again = zubra.Investigation.from_json(inv.to_json())
    again.design()
    assert again.worksheet.to_text() == sheet.to_text()


def test_every_example_round_trips_through_json_and_xml(example, tmp_path):
    inv = zubra.Investigation.load(example)
    inv.design(seed=3)
    expected = inv.to_dict()
    assert zubra.Investigation.from_json(inv.to_json()).to_dict() == expected
    assert zubra.Investigation.from_json(expected).to_dict() == expected
    inv.save(tmp_path / "study.xml")
    from_xml = zubra.Investigation.load(tmp_path / "study.xml")
    assert from_xml.to_dict() == expected
    # The XML form keeps the generated design with its statistics.
    kept = from_xml.generated_design
    assert kept is not None
    assert kept.runs == inv.generated_design.runs
    assert kept.matrix.tolist() == inv.generated_design.matrix.tolist()
