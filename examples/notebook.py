"""A mixture study designed from Python: three solvents for a coating, with a linear constraint
that keeps ethanol and water together at 0.7 or less, a D-optimal design for the quadratic
mixture model, and its worksheet.

Run it with the module on the path (see python/README.md), for example
    PYTHONPATH=build/ci/python/module python3 examples/notebook.py
"""

import zubra

study = zubra.Investigation("Coating solvent blend")
study.add_factor("Ethanol", "EtOH", kind="formulation", low=0.1, high=0.7, unit="w/w")
study.add_factor("Ethyl lactate", "EL", kind="formulation", low=0.2, high=0.8, unit="w/w")
study.add_factor("Water", "W", kind="formulation", low=0.1, high=0.5, unit="w/w")
study.add_response("Drying time", "Dry", "min", criterion="minimize", target=10, max=30)
study.add_response("Film gloss", "Gloss", "GU", criterion="maximize", min=70, target=90)
# Blends with ethanol and water together above 0.7 haze the film: leave them out.
study.add_constraint({"Ethanol": 1, "Water": 1}, ">", 0.7)
study.configure(objective="RSM", design="DOptimal", mixture_model="Quadratic", runs=10,
                replicated_runs=3)

design = study.design(seed=7)
print(f"{design.name}: {design.runs} runs, terms {', '.join(design.terms)}")
print(f"D-efficiency {design.d_efficiency:.1f} %, condition number {design.condition_number:.2f}")
print()
print(study.worksheet.to_text())
