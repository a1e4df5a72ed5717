// SPDX-License-Identifier: Apache-2.0
// node validate_sbom.mjs FILE: ends with an error when FILE is no CycloneDX 1.5 document (JSON) by its schema.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';

// The library is in the folder that this runs in, not beside this file.
const { Spec, Validation } = createRequire(`${process.cwd()}/`)('@cyclonedx/cyclonedx-library');
const text = readFileSync(process.argv[2], 'utf8');
const problems = await new Validation.JsonStrictValidator(Spec.Version.v1dot5).validate(text);
if (problems !== null) {
  console.error(problems);
  process.exit(1);
}
