"""Every refusal of the library arrives as zubra.Error with the library's message, and leaves
the investigation as it was; the validators answer as the library does."""

import pytest

import zubra


def small():
    inv = zubra.Investigation("Small")
    inv.add_factor("Temperature", "T", low=20, high=80)
    inv.add_factor("Time", "Tm", low=1, high=5)
    inv.add_response("Yield", "Y")
    inv.configure(objective="RSM")
    return inv


REFUSALS = [
    ("a factor name that exists",
     lambda inv: inv.add_factor("temperature", "T2", low=1, high=2),
     ["The factor name already exists. Please change to a unique name."]),
    ("an abbreviation that is too long",
     lambda inv: inv.add_factor("Speed", "Speedy", low=1, high=2),
     ["The abbreviation is too long. The limit is 5 characters."]),
    ("an abbreviation another variable has",
     lambda inv: inv.add_factor("Speed", "tm", low=1, high=2),
     ["The abbreviation of 'Speed' is already used by another variable."]),
    ("a kind of factor that does not exist",
     lambda inv: inv.add_factor("Speed", "S", kind="velocity", low=1, high=2),
     ["Parse error: illegal factor type."]),
    ("a transform without its constants",
     lambda inv: inv.add_factor("Speed", "S", low=1, high=2, transform=("log", 1)),
     ["Parse error: constant 'c2' is required for the Log transform."]),
    ("a range whose low is above its high",
     lambda inv: inv.add_factor("Speed", "S", low=3, high=2),
     ["The variable 'Speed' is not completely defined."]),
    ("a second filler",
     lambda inv: inv.add_factor("Fat", "F", kind="filler"),
     ["'Fat' cannot be a filler: there can be only one filler factor."]),
    ("a response name that exists",
     lambda inv: inv.add_response("Time", "Tx"),
     ["A variable named 'Time' already exists."]),
    ("a renamed factor taking a name in use",
     lambda inv: inv.rename_factor("Time", "Temperature"),
     ["The factor name already exists. Please change to a unique name."]),
    ("a factor that is not there",
     lambda inv: inv.delete_factor("Pressure"),
     ["There is no factor named 'Pressure'."]),
    ("a block count the design does not offer",
     lambda inv: inv.configure(blocks=7),
     ["design: the design cannot be divided into 7 blocks; it offers 1, 2."]),
    ("an objective that does not exist",
     lambda inv: setattr(inv, "objective", "Speed"),
     ["design: 'Speed' is not an objective."]),
    ("a star distance out of range and a term naming no factor, together",
     lambda inv: inv.configure(star_distance=9.0, terms=["Constant", "T*Q"]),
     ["design: The star distance must be a number between 0 and 5.",
      'design: the term "T*Q" names no factor of the investigation.']),
    ("a design the factors do not suit",
     lambda inv: inv.configure(design="SimplexLattice"),
     ["design: the design 'SimplexLattice' cannot be used: The design 'Simplex Lattice' is for "
      "mixture factors only."]),
    ("a seed out of range",
     lambda inv: inv.configure(seed=-1),
     ["design: the seed must be a whole number from 0 to 4294967295."]),
    ("an analysis option out of range",
     lambda inv: setattr(inv, "options", {"power": 2}),
     ["options: Illegal power value."]),
    ("a worksheet before a design",
     lambda inv: inv.make_worksheet(),
     ["No design has been generated."]),
    ("a constraint on a factor that is not there",
     lambda inv: inv.add_constraint({"Pressure": 1}, "<", 3),
     ["'Pressure' is not a factor a constraint can use."]),
    ("a constraint with an unknown operator",
     lambda inv: inv.add_constraint({"Time": 1}, "<=", 3),
     ["'<=' is not an operator of a constraint: \"<\" excludes the points below the limit, "
      "\">\" those above it."]),
]


# What a case needs before its refusal.
PREPARE = {"a second filler": lambda inv: inv.add_factor("Oil", "O", kind="filler")}


@pytest.mark.parametrize("case,call,problems", REFUSALS, ids=[r[0] for r in REFUSALS])
def test_a_refusal_raises_the_librarys_message_and_changes_nothing(case, call, problems):
    inv = small()
    PREPARE.get(case, lambda inv: None)(inv)
    before = inv.to_json()
    with pytest.raises(zubra.Error) as raised:
        call(inv)
    assert raised.value.problems == problems
    # Settings are read as the JSON form's are: the reader's heading comes first.
    read = problems[0].startswith(("design:", "options:"))
    heading = "The investigation is not sound:\n  - " if read else ""
    assert str(raised.value) == heading + "\n  - ".join(problems)
    assert inv.to_json() == before


def test_documents_and_files_that_do_not_read_list_every_problem(tmp_path):
    missing = tmp_path / "none.json"
    with pytest.raises(zubra.Error) as raised:
        zubra.Investigation.load(missing)
    assert str(raised.value) == (f"Cannot open the investigation '{missing}':\n"
                                 f"  - The file '{missing}' does not exist.")
    with pytest.raises(zubra.Error) as raised:
        zubra.Investigation.from_json({"name": 3, "colour": "red",
                                       "design": {"objective": "Sideways"}})
    assert str(raised.value).startswith("The investigation is not sound:\n  - ")
    assert raised.value.problems == ["investigation: unknown member 'colour'.",
                                     "investigation: the member 'name' has the wrong type.",
                                     "design: 'Sideways' is not an objective."]
    with pytest.raises(zubra.Error):
        zubra.Investigation.from_json("{ not json")
    with pytest.raises(zubra.Error) as raised:
        zubra.Investigation.from_json("[1, 2]")
    assert raised.value.problems == ["The document is not a JSON object."]


def test_a_save_that_fails_keeps_the_old_file(tmp_path):
    inv = small()
    path = tmp_path / "study.json"
    inv.save(path)
    old = path.read_text()
    with pytest.raises(zubra.Error) as raised:
        inv.save(tmp_path / "no such folder" / "study.json")
    assert str(raised.value).startswith("Cannot save the investigation '")
    assert path.read_text() == old


def test_an_unsound_investigation_gives_no_design_and_says_why():
    mixed = zubra.Investigation()
    mixed.add_factor("Temperature", "T", low=20, high=80)
    mixed.add_factor("Oil", "O", kind="formulation", low=0.1, high=0.9)
    mixed.add_factor("Fat", "F", kind="formulation", low=0.1, high=0.9)
    mixed.add_constraint({"Temperature": 1, "Oil": 2}, "<", 2)
    empty = zubra.Investigation()
    cases = [
        (mixed, ["Constraint 1 is not complete: it needs an operator, a limit and a "
                 "coefficient, and may not mix process and mixture factors."]),
        (empty, ["There is no design available."]),
    ]
    for inv, problems in cases:
        assert inv.check() == problems
        with pytest.raises(zubra.Error) as raised:
            inv.design()
        assert raised.value.problems == problems
        assert str(raised.value) == "The investigation is not sound:\n  - " + problems[0]
        assert inv.generated_design is None


VALIDATORS = [
    (zubra.validate_abbreviation, "T", (True, "")),
    (zubra.validate_abbreviation, "Temper", (False, "The abbreviation is too long. "
                                                    "The limit is 5 characters.")),
    (zubra.validate_abbreviation, "", (False, "Please provide an abbreviation for the factor.")),
    (zubra.validate_star_distance, 1.5, (True, "")),
    (zubra.validate_star_distance, 0.0, (False, "The star distance must be a number between "
                                                "0 and 5.")),
]


@pytest.mark.parametrize("validator,text,verdict", VALIDATORS)
def test_validators_answer_with_the_librarys_message(validator, text, verdict):
    assert validator(text) == verdict


def test_factor_names_are_validated_against_the_investigation():
    inv = small()
    assert inv.validate_factor_name("Pressure") == (True, "")
    assert inv.validate_factor_name("TIME") == (
        False, "The factor name already exists. Please change to a unique name.")
    assert inv.validate_factor_name("Time", old_name="Time") == (True, "")
