#!/usr/bin/python
# -*- coding: utf-8 -*-

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
module: instance_info
short_description: Shows the state of instances of the client platform
description:
  - Finds the instances in application bundles, or uses the named ones, and returns the state of each from
    C(hotfixInspect status). Changes nothing.
version_added: "1.0.0"
author:
  - hotfixUninstall developers
options:
  homes:
    description: Home folders of instances.
    type: list
    elements: str
    default: []
  folders:
    description: Folders with application bundles that are searched besides C(/Applications).
    type: list
    elements: str
    default: []
  search:
    description: Whether to search for instances.
    type: bool
    default: true
  inspect_program:
    description: Path of hotfixInspect. Without it, the places that the packages use are searched.
    type: str
attributes:
  check_mode:
    description: Does the same in check mode.
    support: full
  diff_mode:
    description: There is nothing to compare.
    support: none
'''

EXAMPLES = r'''
- name: Look at every instance of the machine
  hotfix.removal.instance_info:
  register: found
'''

RETURN = r'''
instances:
  description: The documents of C(hotfixInspect status --json), one for each instance.
  returned: success
  type: list
  elements: dict
homes:
  description: The same instances in the form that the role accepts, each with its home folder.
  returned: success
  type: list
  elements: dict
states:
  description: The number of instances in each state.
  returned: success
  type: dict
  sample: {"removable": 1}
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.hotfix.removal.plugins.module_utils.hotfix import Failure, Programs, shown


def main():
    module = AnsibleModule(
        argument_spec=dict(
            homes=dict(type='list', elements='str', default=[]),
            folders=dict(type='list', elements='str', default=[]),
            search=dict(type='bool', default=True),
            inspect_program=dict(type='str'),
        ),
        supports_check_mode=True)
    programs = Programs(module, module.params['inspect_program'])
    try:
        instances = programs.status_of_all(module.params['folders']) if module.params['search'] else []
        for home in module.params['homes']:
            instances.append(programs.status(home))
    except Failure as failure:
        module.fail_json(msg=failure.reason, cause=failure.cause)
    states = {}
    for instance in instances:
        states[instance['state']] = states.get(instance['state'], 0) + 1
    module.exit_json(changed=False, instances=instances, states=states,
                     homes=[dict(home=shown(instance['home'])) for instance in instances])


if __name__ == '__main__':
    main()
