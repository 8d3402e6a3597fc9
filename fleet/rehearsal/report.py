def page(document):
    return ''
