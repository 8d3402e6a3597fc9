// Reads a workflow as GitHub would, and rehearses its job on this machine.
//
//   node rehearse.js FILE labels              the labels of its machines, one a line
//   node rehearse.js FILE scripts FOLDER      writes the script of each step into a file there, named by its number
//   node rehearse.js FILE run FOLDER [NAME]   runs the steps in the folder, a checkout, in order; in the step NAME every
//                                             program of a stand-in fails. Prints a line for each: its name and its outcome
//
// Of expressions it knows what the workflow uses: !cancelled() and the matrix.
'use strict';
const childProcess = require('child_process');
const fs = require('fs');
const path = require('path');
const yaml = require('yaml');

const [file, question, folder, failing] = process.argv.slice(2);
const workflow = yaml.parse(fs.readFileSync(file, 'utf8'));
const jobs = Object.values(workflow.jobs);

function fail(reason) {
  console.error(reason);
  process.exit(1);
}

function labelsOf(job) {
  const matrix = /^\$\{\{ matrix\.(\w+) \}\}$/.exec(job['runs-on']);
  return matrix ? job.strategy.matrix[matrix[1]] : [job['runs-on']];
}

/** Whether a step runs after one that has failed. */
function runsAnyway(step) {
  if (step.if === undefined) return false;
  if (step.if === '${{ !cancelled() }}') return true;
  return fail(`a condition that is not known here: ${step.if}`);
}

function run(job) {
  let hasFailed = false;
  job.steps.forEach((step, index) => {
    if (step.run === undefined) return;
    const name = step.name || `step ${index}`;
    if (hasFailed && !runsAnyway(step)) {
      console.log(`${name}: left out`);
      return;
    }
    if (step.run.includes('${{')) fail(`an expression in a script: ${name}`);
    const script = path.join(process.env.RUNNER_TEMP, `${index}.sh`);
    fs.writeFileSync(script, step.run);
    // What GitHub starts for "shell: bash".
    const result = childProcess.spawnSync('bash', ['--noprofile', '--norc', '-eo', 'pipefail', script], {
      cwd: folder,
      env: { ...process.env, FAILING: name === failing ? '1' : '' },
      encoding: 'utf8',
    });
    fs.writeFileSync(`${script}.output`, result.stdout + result.stderr);
    if (result.status !== 0) hasFailed = true;
    console.log(`${name}: ${result.status === 0 ? 'passed' : 'failed'}`);
  });
}

if (question === 'labels') {
  console.log(jobs.flatMap(labelsOf).join('\n'));
} else if (question === 'scripts') {
  jobs.forEach((job, number) =>
    job.steps.forEach((step, index) => {
      if (step.run !== undefined) fs.writeFileSync(path.join(folder, `${number}-${index}.sh`), `#!/bin/bash -e\n${step.run}`);
    })
  );
} else if (question === 'run') {
  jobs.forEach(run);
} else {
  fail(`no such question: ${question}`);
}
