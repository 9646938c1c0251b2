"""Investigations built from Python: factors of every kind and use, responses, constraints,
the design set-up, and the worksheet in its Python forms."""

import math

import numpy as np
import pytest

import zubra


def test_factors_of_every_kind_and_use_take_their_json_form():
    inv = zubra.Investigation("Kinds")
    inv.add_factor("Temperature", "T", low=20, high=80, unit="C", transform="log")
    inv.add_factor("Pressure", "P", use="constant", value=2.5)
    inv.add_factor("Humidity", "H", use="uncontrolled")
    inv.add_factor("Speed", "S", kind="multilevel", settings=[1, 2, 4])
    inv.add_factor("Catalyst", "Cat", kind="qualitative", settings=["Pd", "Ni", "Cu"])
    inv.add_factor("Day", "Day", kind="time", settings=[0, 7, 14])
    inv.add_factor("Water", "W", kind="formulation", low=0.2, high=0.8)
    inv.add_factor("Oil", "O", kind="filler")
    inv.add_factor("Acid", "A", low=1, high=3, position=0)
    got = {f["name"]: (f["type"], f["settings"]) for f in inv.factors}
    assert got == {
        "Acid": ("quantitative", [1.0, 3.0]),
        "Temperature": ("quantitative", [20.0, 80.0]),
        "Pressure": ("quantitative", [2.5]),
        "Humidity": ("quantitative", []),
        "Speed": ("multilevel", [1.0, 2.0, 4.0]),
        "Catalyst": ("qualitative", ["Pd", "Ni", "Cu"]),
        "Day": ("time", [0.0, 7.0, 14.0]),
        "Water": ("formulation", [0.2, 0.8]),
        "Oil": ("filler", [-99.0, -99.0]),  # a filler has no range of its own
    }
    assert inv.factors[0]["name"] == "Acid"
    assert inv.factors[1]["transform"]["type"] == "log"


def test_responses_keep_their_transform_limits_and_formula():
    inv = zubra.Investigation()
    inv.add_factor("A", "A", low=0, high=1)
    inv.add_response("Yield", "Y", "%", criterion="maximize", min=60, target=90, weight=2)
    inv.add_response("Impurity", "Imp", transform=("log", 1, 1), criterion="minimize",
                     target=0.1, max=1, condition="Desired", desirability="convex")
    inv.add_response("Purity", "Pur", formula="100-v(3)")
    yield_, impurity, purity = inv.responses
    assert yield_["optimizationSettings"]["objective"] == {
        "type": "maximize", "min": 60.0, "target": 90.0, "max": -99.0}
    assert yield_["optimizationSettings"]["weight"] == 2.0
    assert impurity["transform"] == {"type": "log", "constants": {"c1": 1.0, "c2": 1.0}}
    assert impurity["optimizationSettings"]["condition"] == "Desired"
    assert impurity["optimizationSettings"]["desirability"] == {"type": "convex"}
    assert purity["type"] == "derived" and purity["formula"] == "100-v(3)"


def test_constraints_follow_their_factors_and_shape_an_optimal_design():
    inv = zubra.Investigation()
    inv.add_factor("A", "A", low=0, high=10)
    inv.add_factor("B", "B", low=0, high=10)
    assert inv.add_constraint({"A": 1, "B": 1}, ">", 15) == 0
    inv.configure(objective="RSM", design="DOptimal", runs=12)
    design = inv.design(seed=1)
    assert design.design == "DOptimal"
    assert all(a + b <= 15 + 1e-4 for a, b in design.matrix)
    inv.rename_factor("A", "Alpha")
    assert inv.constraints == [{"coefficients": {"Alpha": 1.0, "B": 1.0}, "operator": ">",
                                "limit": 15.0}]
    inv.delete_factor("B")
    assert inv.constraints[0]["coefficients"] == {"Alpha": 1.0}
    inv.delete_constraint(0)
    assert inv.constraints == []
    with pytest.raises(IndexError):
        inv.delete_constraint(0)


def test_configure_chooses_designs_as_the_library_does():
    inv = zubra.Investigation()
    for name in ("A", "B", "C"):
        inv.add_factor(name, name, low=-1, high=1)
    cases = [
        ({"objective": "RSM"}, ("CentralComposite", "CCF", "Quadratic")),
        ({"design_name": "CCC"}, ("CentralComposite", "CCC", "Quadratic")),
        ({"objective": "Screening"}, ("FullFactorial", "Full Factorial", "Linear")),
        ({"model": "Interaction"}, ("FullFactorial", "Full Factorial", "Interaction")),
        ({"design": "PlackettBurman", "model": "Linear"},
         ("PlackettBurman", "Plackett-Burman", "Linear")),
    ]
    for settings, expected in cases:
        inv.configure(**settings)
        assert (inv.design_type, inv.design_name, inv.model) == expected, settings
    inv.configure(objective="Screening", design="FullFactorial", center_points=2, replicates=1)
    assert (inv.center_points, inv.replicates) == (2, 1)
    assert inv.design(seed=4).runs == 2 * 8 + 2  # the corners replicated, not the centre
    inv.terms = ["Constant", "A", "B", "A*B"]
    assert inv.terms == ["Constant", "A", "B", "A*B"]
    assert inv.generated_design is None  # a change discards the design
    inv.configure(objective="RSM", design="DOptimal", runs=10, terms=["Constant", "A", "A*A"])
    assert inv.terms == ["Constant", "A", "A*A"] and inv.runs == 10
    with pytest.raises(TypeError):
        inv.configure(rnus=3)


def test_the_worksheet_has_numpy_dict_and_text_forms():
    inv = zubra.Investigation()
    inv.add_factor("Temperature", "T", low=20, high=80, unit="C")
    inv.add_factor("Speed", "S", low=0.5, high=1.5)
    inv.add_factor("Mode", "M", kind="qualitative", settings=["fast", "slow, careful"])
    inv.add_response("Yield", "Y", "%")
    inv.configure(objective="Screening", design="FullFactorial", blocks=2, center_points=0)
    inv.design(seed=9)
    sheet = inv.worksheet
    assert sheet.columns == ["RunOrder", "ExpNo", "ExpName", "Block", "Temperature (C)",
                             "Speed", "Mode", "Yield (%)"]
    assert sheet.response_columns == ["Yield (%)"]
    array = sheet.to_numpy()
    assert [array.dtype[name].kind for name in array.dtype.names] == [
        "i", "i", "U", "i", "f", "f", "U", "f"]
    assert array["RunOrder"].tolist() == list(range(1, len(sheet) + 1))
    assert np.isnan(array["Yield (%)"]).all()
    assert sorted(array["Mode"].tolist()) == sorted(sheet["Mode"])
    assert np.asarray(sheet).shape == (len(sheet),)
    rows = sheet.to_dicts()
    assert rows == list(sheet) and rows[0] == sheet[0] and rows[-1] == sheet[-1]
    assert rows[0]["Yield (%)"] is None and isinstance(rows[0]["ExpNo"], int)
    blocks = sheet["Block"]
    assert blocks == sorted(blocks) and set(blocks) == {1, 2}
    csv = sheet.to_text("csv").split("\r\n")
    assert csv[0] == "RunOrder,ExpNo,ExpName,Block,Temperature (C),Speed,Mode,Yield (%)"
    assert any('"slow, careful"' in line for line in csv)
    with pytest.raises(ValueError):
        sheet.to_text("xlsx")
    with pytest.raises(KeyError):
        sheet["Nope"]


def test_to_pandas_gives_the_rows_in_run_order():
    pandas = pytest.importorskip("pandas")
    inv = zubra.Investigation.from_json({
        "factors": [{"name": "A", "abbreviation": "A", "type": "quantitative",
                     "settings": [0, 1]}],
        "responses": [{"name": "R"}],
        "design": {"objective": "Screening", "type": "FullFactorial", "seed": 2}})
    inv.design()
    frame = inv.worksheet.to_pandas()
    assert isinstance(frame, pandas.DataFrame)
    assert list(frame.columns) == inv.worksheet.columns
    assert frame["RunOrder"].tolist() == list(range(1, len(frame) + 1))
    assert math.isnan(frame["R"][0])


def test_a_mixture_study_gives_statistics_and_a_catalogue():
    inv = zubra.Investigation("Blend")
    inv.add_factor("Water", "W", kind="formulation", low=0.1, high=0.8)
    inv.add_factor("Oil", "O", kind="formulation", low=0.1, high=0.8)
    inv.add_factor("Soap", "S", kind="formulation", low=0.1, high=0.8)
    inv.configure(objective="RSM", mixture_model="Quadratic")
    entries = inv.catalogue()
    assert any(e.chosen for e in entries) and sum(e.best for e in entries) == 1
    assert all(1 in e.blocks and e.runs == sorted(e.runs) for e in entries)
    design = inv.design(seed=1)
    assert design.terms == ["W", "O", "S", "W*O", "W*S", "O*S"]
    assert np.allclose(design.matrix.sum(axis=1), 1.0, atol=1e-5)
    assert design.d_efficiency is not None and design.condition_number > 1
    # One VIF per model column (the mixture model has no constant), named by factor names.
    assert list(design.vif) == ["Water", "Oil", "Soap", "Water*Oil", "Water*Soap", "Oil*Soap"]
    assert all(v >= 1 for v in design.vif.values())
    assert "== Model specification ==" in inv.show()


def test_a_factor_named_like_a_fixed_column_keeps_its_values():
    inv = zubra.Investigation()
    inv.add_factor("Block", "B", low=0.5, high=1.5)
    inv.configure(objective="Screening", design="FullFactorial", center_points=1)
    inv.design(seed=1)
    assert sorted(inv.worksheet["Block"]) == [0.5, 1.0, 1.5]
    assert inv.worksheet.to_numpy().dtype["Block"].kind == "f"
