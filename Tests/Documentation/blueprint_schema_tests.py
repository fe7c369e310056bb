"""The JSON Schema of blueprints: what the library writes and what the documentation shows keep to it, what the library
refuses does not.

    blueprint_schema_tests.py <source folder>
"""

import copy
import json
import pathlib
import re
import sys
import unittest

import jsonschema

SOURCE = pathlib.Path(sys.argv.pop(1))
KEY = "QRBSourceControlWorkspaceBlueprint"
REPOSITORY = KEY + "RemoteRepository"
FAULTS = [
    ([KEY + "Version"], 201),
    ([KEY + "Version"], "204"),
    ([KEY + "NameKey"], ""),
    ([KEY + "FavoriteStatusKey"], "true"),
    ([KEY + "PrimaryRemoteRepositoryKey"], 1),
    ([KEY + "RemoteRepositoriesKey"], {}),
    ([KEY + "RemoteRepositoriesKey", 0], {}),
    ([KEY + "RemoteRepositoriesKey", 0, REPOSITORY + "URLKey"], ""),
    ([KEY + "RemoteRepositoriesKey", 0, REPOSITORY + "TrustSelfSignedCertKey"], False),
    ([KEY + "RemoteRepositoriesKey", 0, REPOSITORY + "TrustedCertFingerprintKey"], ""),
    ([KEY + "WorkingCopyPathsKey", "x"], 1),
    ([KEY + "WorkingCopyStatesKey", "x"], -1),
    ([KEY + "WorkingCopyRepositoryLocationsKey", "x"], "trunk"),
    ([KEY + "LocationsKey", "x"], {KEY + "LocationTypeKey": "QRBSourceControlRevision"}),
    ([KEY + "LocationsKey", "x"], {KEY + "LocationTypeKey": "QRBSourceControlBranch"}),
    ([REPOSITORY + "AuthenticationStrategiesKey", "x"], {}),
    ([REPOSITORY + "AuthenticationStrategiesKey", "x"], {REPOSITORY + "AuthenticationTypeKey": "Other"}),
]


def example():
    page = (SOURCE / "Documentation/blueprints.md").read_text(encoding="utf-8")
    return json.loads(re.search(r"```json\n(.*?)```", page, re.DOTALL).group(1))


class BlueprintSchema(unittest.TestCase):
    def setUp(self):
        schema = json.loads((SOURCE / "Documentation/blueprint.schema.json").read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(schema)
        self.validator = jsonschema.Draft202012Validator(schema)

    def test_what_is_written_and_what_is_documented_keeps_to_it(self):
        fixtures = sorted((SOURCE / "Tests/Fixtures/blueprints").glob("*.oxscmblueprint"))
        self.assertGreaterEqual(len(fixtures), 4)
        for fixture in fixtures:
            with self.subTest(fixture.name):
                self.validator.validate(json.loads(fixture.read_text(encoding="utf-8")))
        self.validator.validate(example())

    def test_it_knows_every_key_that_is_written(self):
        text = json.dumps(self.validator.schema)
        complete = (SOURCE / "Tests/Fixtures/blueprints/complete.oxscmblueprint").read_text(encoding="utf-8")
        for key in set(re.findall(r'"(QRBSourceControl\w+)": ', complete)):
            self.assertIn('"%s"' % key, text)

    def test_what_the_library_refuses_breaks_it(self):
        for place, value in FAULTS:
            with self.subTest(place=place, value=value):
                file = copy.deepcopy(example())
                inner = file
                for key in place[:-1]:
                    inner = inner[key]
                inner[place[-1]] = value
                self.assertFalse(self.validator.is_valid(file))


if __name__ == "__main__":
    unittest.main()
