"""Zubra: Design of Experiments from Python.

An Investigation holds the factors, responses, linear constraints and design set-up of one
study; design() generates its design and a worksheet in randomized run order.
"""

import os
from typing import Any, Callable, Iterator, Literal, Mapping, Optional, Sequence, Union, overload

import numpy as np

__version__: str

PathLike = Union[str, os.PathLike[str]]
Transform = Union[
    str,
    tuple[str, float],
    tuple[str, float, float],
    tuple[str, float, float, float],
    Mapping[str, Any],
]
Verdict = tuple[bool, str]

class Error(Exception):
    """A refusal of the Zubra library: str(error) is the library's message and
    error.problems lists each problem it found (the message alone when there is one)."""

    problems: list[str]

def validate_abbreviation(text: str) -> Verdict:
    """Checks a factor's abbreviation as a user typed it: (True, '') when it is accepted,
    else (False, the library's message)."""

def validate_unit(text: str) -> Verdict:
    """Checks a factor's unit: (True, '') when it is accepted, else (False, the message)."""

def validate_star_distance(distance: float) -> Verdict:
    """Checks a composite design's star distance (coded units): (True, '') for 0 < d <= 5,
    else (False, the message)."""

class CatalogueEntry:
    """A design of the catalogue that accepts the investigation's factors for its objective
    and models."""

    @property
    def design(self) -> str:
        """The design family, as configure(design=...) takes it ('CentralComposite')."""
    @property
    def name(self) -> str:
        """The design within its family, as configure(design_name=...) takes it."""
    @property
    def runs(self) -> list[int]:
        """The run counts it offers, ascending."""
    @property
    def blocks(self) -> list[int]:
        """The block counts it offers, ascending (1 always among them)."""
    @property
    def best(self) -> bool:
        """True for the design the catalogue picks for the objective and models."""
    @property
    def chosen(self) -> bool:
        """True for the investigation's current design."""

class Design:
    """A generated design and its statistics for the investigation's model, as they were
    when it was taken. Statistics the design cannot give (a singular design, a model that
    does not fit) are None."""

    @property
    def design(self) -> str:
        """The design family ('CentralComposite')."""
    @property
    def name(self) -> str:
        """The design within its family ('CCF')."""
    @property
    def objective(self) -> str:
        """The objective it was made for."""
    @property
    def runs(self) -> int:
        """All runs."""
    @property
    def factor_names(self) -> list[str]:
        """The factors of the matrix columns."""
    @property
    def matrix(self) -> np.ndarray:
        """The runs in the factors' own units, one row per run in design order (runs x
        factors; a qualitative factor as its setting number, from 1)."""
    @property
    def coded(self) -> np.ndarray:
        """The runs coded as the engine codes them (-1 to +1 for process factors)."""
    @property
    def blocks(self) -> list[int]:
        """The block of each run, from 1."""
    @property
    def block_count(self) -> int:
        """How many blocks the runs are in."""
    @property
    def run_kinds(self) -> list[Literal["design", "axial", "center", "replicate"]]:
        """What each run is."""
    @property
    def center_points(self) -> int:
        """The centre runs in all blocks."""
    @property
    def terms(self) -> list[str]:
        """The model's terms ('Constant', 'A', 'A*B')."""
    @property
    def d_efficiency(self) -> Optional[float]:
        """D-efficiency in percent, or None."""
    @property
    def g_efficiency(self) -> Optional[float]:
        """G-efficiency in percent, or None."""
    @property
    def condition_number(self) -> Optional[float]:
        """The condition number of the model matrix, or None (singular)."""
    @property
    def log_det(self) -> Optional[float]:
        """The log of the determinant of the information matrix, or None."""
    @property
    def vif(self) -> dict[str, float]:
        """The variance inflation factor of each model column but the constant (empty when
        the design is singular)."""
    @property
    def singular(self) -> bool:
        """True when the model cannot be fitted from the design."""
    @property
    def residual_df(self) -> Optional[int]:
        """Residual degrees of freedom, or None."""
    @property
    def pure_error_df(self) -> Optional[int]:
        """Pure-error degrees of freedom (from replicated runs), or None."""

Cell = Union[None, int, float, str]

class Worksheet:
    """The worksheet in run order, one row per experiment: 'RunOrder', 'ExpNo', 'ExpName',
    'Block' (only for a design in blocks), then each factor and each response, headed by its
    name and its unit in parentheses ('Temperature (C)'). Empty cells (the responses of a new
    worksheet) are None in rows and NaN in the numpy array."""

    @property
    def columns(self) -> list[str]:
        """The column headings."""
    @property
    def response_columns(self) -> list[str]:
        """The headings of the response columns."""
    def __len__(self) -> int: ...
    def __iter__(self) -> Iterator[dict[str, Cell]]:
        """The rows as dicts, in run order."""
    @overload
    def __getitem__(self, key: int) -> dict[str, Cell]: ...
    @overload
    def __getitem__(self, key: str) -> list[Cell]: ...
    def to_dicts(self) -> list[dict[str, Cell]]:
        """The rows as a list of dicts, in run order."""
    def to_numpy(self) -> np.ndarray:
        """The worksheet as a numpy structured array, one field per column: RunOrder, ExpNo
        and Block int64, numbers float64 (NaN when empty), texts unicode."""
    def __array__(self, dtype: Any = None) -> np.ndarray: ...
    def to_pandas(self) -> Any:
        """The worksheet as a pandas DataFrame (needs pandas; zubra does not depend on it)."""
    def to_text(self, format: Literal["tsv", "csv"] = "tsv") -> str:
        """The worksheet as text, the same text the zubra tool writes: 'tsv' (tabs, LF) or
        'csv' (RFC 4180, CRLF). Numbers in the shortest form that reads back exactly."""

Json = Union[str, Mapping[str, Any]]

class Investigation:
    """One study: its factors, responses, linear constraints, design set-up, options and
    worksheet. Every edit goes through the library's checks; a refused edit raises
    zubra.Error with the library's message and changes nothing."""

    def __init__(self, name: str = "", description: str = "") -> None:
        """An empty investigation: no factors or responses, the screening objective."""
    @staticmethod
    def load(path: PathLike) -> "Investigation":
        """Reads the investigation file at `path` (.json, .xml or the older .ini). Raises
        zubra.Error naming the file and listing every problem when it does not read."""
    @staticmethod
    def from_json(document: Json) -> "Investigation":
        """The investigation of a JSON document, given as text or as the dict json.loads
        gives. Raises zubra.Error listing every problem of a document that is not sound."""
    def save(self, path: PathLike) -> None:
        """Writes the investigation as JSON (.json), in the older INI form (.ini) or as XML
        (any other extension). Atomic: a failed save leaves the old file as it was."""
    def to_json(self, indent: int = 2) -> str:
        """The investigation's JSON form as text (indent -1: one line)."""
    def to_dict(self) -> dict[str, Any]:
        """The investigation's JSON form as a dict."""

    name: str
    """The investigation's name."""
    description: str
    """Free text about the investigation."""

    @property
    def factors(self) -> list[dict[str, Any]]:
        """The factors in order (process factors first), each as its JSON form's dict."""
    def add_factor(
        self,
        name: str,
        abbreviation: str,
        *,
        kind: Literal[
            "quantitative", "multilevel", "qualitative", "formulation", "filler", "time"
        ] = "quantitative",
        use: Literal["controlled", "uncontrolled", "constant"] = "controlled",
        low: Optional[float] = None,
        high: Optional[float] = None,
        value: Optional[float] = None,
        settings: Optional[Sequence[Union[float, str]]] = None,
        unit: str = "",
        transform: Optional[Transform] = None,
        position: Optional[int] = None,
    ) -> None:
        """Adds a factor: varied between low and high (or over `settings`: levels of a
        multilevel or time factor, texts of a qualitative one), held at `value` (use
        'constant') or measured (use 'uncontrolled'). transform: 'log' (c1 = 1, c2 = 0),
        ('log', c1, c2), ('power', c1, c2, c3) or the JSON form's dict. position: where it
        goes (0-based; None appends). Raises zubra.Error with the library's message when the
        name, abbreviation, unit or settings are refused; nothing changes then."""
    def delete_factor(self, name: str) -> None:
        """Deletes the factor and everything that names it: its terms, its constraint
        coefficients and its worksheet column."""
    def rename_factor(self, name: str, new_name: str) -> None:
        """Renames a factor; constraints, worksheet columns and terms follow."""
    def validate_factor_name(self, name: str, old_name: str = "") -> Verdict:
        """Checks a factor name for this investigation (`old_name`: the factor being
        renamed): (True, '') when accepted, else (False, the library's message)."""

    @property
    def responses(self) -> list[dict[str, Any]]:
        """The responses in order, each as its JSON form's dict."""
    def add_response(
        self,
        name: str,
        abbreviation: str = "",
        unit: str = "",
        *,
        transform: Optional[Transform] = None,
        criterion: Optional[
            Literal["none", "minimize", "maximize", "target", "predict", "exclude"]
        ] = None,
        min: Optional[float] = None,
        target: Optional[float] = None,
        max: Optional[float] = None,
        weight: Optional[float] = None,
        condition: Optional[Literal["Required", "Desired", "Observed"]] = None,
        desirability: Optional[Literal["linear", "convex", "concave", "custom", "step"]] = None,
        formula: Optional[str] = None,
    ) -> None:
        """Adds a response, modelled on the `transform`'s scale, with the optimization
        criterion and its limits; `formula` makes it derived ('100-v(5)': v(k) is the k-th
        variable, factors first). Raises zubra.Error when the name is refused."""
    def delete_response(self, name: str) -> None:
        """Deletes the response and its worksheet column."""

    @property
    def constraints(self) -> list[dict[str, Any]]:
        """The linear constraints, each {'coefficients': {factor: c}, 'operator': '<' or '>',
        'limit': number}."""
    def add_constraint(
        self, coefficients: Mapping[str, float], operator: Literal["<", ">"], limit: float
    ) -> int:
        """Adds a linear constraint and returns its index. It excludes the points where
        sum(coefficient x factor value), in the factors' own units, is below the limit ('<')
        or above it ('>')."""
    def delete_constraint(self, index: int) -> None:
        """Deletes the constraint at `index` (0-based)."""

    def configure(
        self,
        *,
        objective: Optional[str] = ...,
        design: Optional[str] = ...,
        design_name: Optional[str] = ...,
        model: Optional[str] = ...,
        mixture_model: Optional[str] = ...,
        process_mixture_interaction: Optional[bool] = ...,
        runs: Optional[int] = ...,
        center_points: Optional[int] = ...,
        replicates: Optional[int] = ...,
        replicated_runs: Optional[int] = ...,
        blocks: Optional[int] = ...,
        block_interactions: Optional[bool] = ...,
        star_distance: Optional[float] = ...,
        layers: Optional[int] = ...,
        max_runs: Optional[int] = ...,
        terms: Optional[Sequence[str]] = ...,
        inclusions: Optional[Sequence[Mapping[str, Union[float, str]]]] = ...,
        seed: Optional[int] = ...,
    ) -> None:
        """Sets design settings at once. Choosing the objective takes its default models and
        best design; a model without a design takes the best design that carries it; a design
        takes its own runs, centre points and blocks; the other settings of the same call are
        applied after that. None removes a setting. Raises zubra.Error listing every refused
        setting; nothing changes then."""

    objective: str
    """The objective ('Screening', 'RSM', 'ProcessMixture')."""
    design_type: str
    """The design family ('None' when no design accepts the factors)."""
    design_name: str
    """The design within its family ('CCF')."""
    model: str
    """The process model ('None' without process factors)."""
    mixture_model: str
    """The mixture model ('None' without mixture factors)."""
    runs: int
    """The runs of the design proper (0: the design's own number)."""
    center_points: int
    """Centre points in each block."""
    blocks: int
    """The blocks the runs are divided into."""
    @property
    def available_blocks(self) -> list[int]:
        """The block counts the current design offers."""
    replicates: int
    """How many more times the whole design is run."""
    terms: list[str]
    """The model's terms; setting them edits the model (optimal designs are built for it)."""
    seed: Optional[int]
    """The seed of the worksheet's run order named by the investigation, or None."""
    @property
    def last_seed(self) -> Optional[int]:
        """The seed the worksheet's run order was last shuffled with, or None."""
    options: dict[str, Any]
    """The analysis options (the JSON form's 'options'); assigning a dict changes the options
    it names."""

    def check(self) -> list[str]:
        """Every problem that keeps the investigation from giving a design, as the library's
        messages; empty when it is sound."""
    def catalogue(self) -> list[CatalogueEntry]:
        """The designs of the catalogue that accept the factors for the objective and models."""
    def design(
        self,
        seed: Optional[int] = None,
        progress: Optional[Callable[[int, int], object]] = None,
    ) -> Design:
        """Checks the investigation, generates its design and makes the worksheet with a
        randomized run order (seed: else the investigation's seed, else a fresh one).
        progress(finished, total) is called on the calling thread while an optimal design is
        searched; an exception it raises cancels the search and is raised. The search runs
        with the GIL released; Ctrl-C cancels it (KeyboardInterrupt)."""
    def make_worksheet(self, seed: Optional[int] = None) -> Worksheet:
        """Makes the worksheet again from the generated design with a new run order."""
    @property
    def generated_design(self) -> Optional[Design]:
        """The generated design, or None."""
    @property
    def worksheet(self) -> Worksheet:
        """The worksheet in run order (a snapshot: take it again after a change)."""
    def show(self) -> str:
        """The text dumps of the factors, the responses and the model specification."""
